// A host outside the project: finds the installed library and uses a dataset.
#include <tkstream63.hpp>

#include <cstdio>

int main() {
    tkstream63::rvStreamSet dataset;
    dataset.Origin("base case");
    return dataset.UCaseOrigin() == "BASE CASE" ? 0 : 1;
}

// Loads a store file and writes it again: store_resave <in> <out>. Used to check that a file
// written by one build (the Windows DLL, say) reads back in another and gives the same bytes.
#include <cstdio>

#include "recordfile/record_file.hpp"
#include "streamstore/stream_store.hpp"

int main(int argc, char** argv) {
    using namespace tkstream63;
    if (argc != 3) {
        std::fprintf(stderr, "usage: store_resave <in> <out>\n");
        return 2;
    }
    rvStreamStore store;
    bool qOK = false;
    RecordFile in;
    if (!in.OpenForReading(argv[1])) {
        std::fprintf(stderr, "%s\n", in.LastError().c_str());
        return 1;
    }
    store.BINARYIMPORT(in, qOK);
    in.Close();
    if (!qOK) return 1;
    RecordFile out;
    if (!out.OpenForWriting(argv[2])) return 1;
    store.BINARYEXPORT(out, qOK);
    if (!qOK || !out.Commit()) {
        std::fprintf(stderr, "%s\n", out.LastError().c_str());
        return 1;
    }
    std::printf("%d datasets\n", store.NumberOfStreamSets());
    return 0;
}

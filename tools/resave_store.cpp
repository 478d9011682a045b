// resave_store: loads a store file of any version and form and saves it again in the current
// format, binary or formatted, e.g. to bring files of the first release up to date or to
// regenerate the fuzzing seeds (fuzz/corpus):
//
//   resave_store <input> <output> [--formatted]
//
// Exits 0 when the whole store was loaded and saved, 1 otherwise (with the error on stderr).
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include <tkstream63.hpp>

#include "common/utilities.hpp"

int main(int argc, char** argv) {
    using namespace tkstream63;
    if (argc < 3 || (argc == 4 && std::strcmp(argv[3], "--formatted") != 0) || argc > 4) {
        std::fprintf(stderr, "usage: resave_store <input> <output> [--formatted]\n");
        return 2;
    }
    // Datasets of the same name keep both (the file's own flags decide first).
    installDuplicateNameDialog(std::make_shared<ScriptedDialog>());
    rvStreamStore store;
    RecordFile input;
    bool loaded = false;
    if (input.OpenForReading(argv[1])) store.BINARYIMPORT(input, loaded);
    if (!loaded) {
        std::fprintf(stderr, "resave_store: cannot load '%s': %s\n", argv[1], input.LastError().c_str());
        return 1;
    }
    input.Close();
    RecordFile output;
    bool saved = false;
    if (output.OpenForWriting(argv[2], argc == 4 ? RecordForm::Formatted : RecordForm::Binary))
        store.BINARYEXPORT(output, saved);
    if (!saved || !output.Commit()) {
        std::fprintf(stderr, "resave_store: cannot save '%s': %s\n", argv[2], output.LastError().c_str());
        return 1;
    }
    return 0;
}

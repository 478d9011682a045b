// Writes small valid seeds for every fuzz target into <folder>/<target>/: stores, datasets and
// WAF sets built by the write path's interpreter from fixed pseudo-random scripts, saved in the
// form each target reads, and the scripts themselves for the write path.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "fuzz/fuzz_support.hpp"
#include "fuzz/fuzz_targets.hpp"
#include "recordfile/record_file.hpp"
#include "streamstore/stream_store.hpp"
#include "wafset/waf_set.hpp"

namespace {

using namespace tkstream63;

// The WAF set's own export never reports success, so only the commit counts there.
template <class T>
bool save(T& object, const std::filesystem::path& where, RecordForm form = RecordForm::Binary) {
    constexpr bool exportReports = !std::is_same_v<T, rvWAFSet>;
    const std::string path = where.string();
    RecordFile file;
    bool qOK = false;
    if (file.OpenForWriting(path, form)) object.BINARYEXPORT(file, qOK);
    const bool saved = file.Commit() && (qOK || !exportReports);
    if (!saved) std::fprintf(stderr, "%s: %s\n", path.c_str(), file.LastError().c_str());
    return saved;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: make_fuzz_seeds <folder>\n");
        return 2;
    }
    const std::filesystem::path folder = argv[1];
    for (const auto& t : fuzz::targets()) std::filesystem::create_directories(folder / t.name);
    fuzz::quietHost();
    std::mt19937 random(63);
    bool ok = true;
    int seed = 0;
    for (const size_t length : {48, 160, 400, 900}) {
        std::vector<uint8_t> script(length);
        for (auto& b : script) b = static_cast<uint8_t>(random());
        const std::string name = "seed" + std::to_string(++seed);
        std::ofstream(folder / "write_path" / name, std::ios::binary)
            .write(reinterpret_cast<const char*>(script.data()), static_cast<std::streamsize>(script.size()));
        rvStreamStore store;
        fuzz::buildStore(script.data(), script.size(), store);
        ok &= save(store, folder / "store_import" / (name + ".rec"));
        ok &= save(store, folder / "formatted_import" / (name + ".txt"), RecordForm::Formatted);
        std::shared_ptr<rvStreamSet> set;
        if (store.NumberOfStreamSets() > 0 && store.GetDataSet(1, set))
            ok &= save(*set, folder / "dataset_import" / (name + ".rec"));
        ok &= save(*fuzz::buildWafSet(script.data(), script.size()), folder / "wafset_import" / (name + ".rec"));
    }
    if (!ok) std::fprintf(stderr, "a seed could not be saved\n");
    return ok ? 0 : 1;
}

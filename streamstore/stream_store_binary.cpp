// rvStreamStore: the store file, its own records bracketing every dataset's section.
#include <array>
#include <memory>

#include "common/errors.hpp"
#include "common/host_message_loop.hpp"
#include "common/version.hpp"
#include "info/stream_storage_info.hpp"
#include "recordfile/constant_list.hpp"
#include "recordfile/record_reading_loop.hpp"
#include "streamstore/store_file_view.hpp"
#include "streamstore/stream_store.hpp"

namespace tkstream63 {

namespace {
// "STRMLOGI" sets the first four flags from 4 values on, the fifth only from 5.
constexpr int32_t kFlagsNeeded = 4;
constexpr int32_t kFlagsFull = 5;
// Memory charged to a load for each dataset it creates: the object with its default tables.
constexpr int64_t kDataSetBytes = 4096;
}  // namespace

struct rvStreamStore::BinaryForm {
    // The "STRMLOGI" flags in record order (not the order the properties are declared in).
    template <class Store>
    static auto flagFields(Store& s) {
        return std::array{&s.AutomaticOverWrite_, &s.qModified_, &s.AutomaticRename_, &s.CheckDataSetNames_,
                          &s.AutomaticCancel_};
    }

    // ---- export ----

    // A failed write does not stop the export; qOK is the success of the closing record. Between
    // datasets the host's message loop runs when input is pending.
    static void write(rvStreamStore& s, RecordFile& file, bool& qOK) {
        RecordIO io;
        RecordWriter writer(io, file, false, kSource, "BINARYEXPORT");
        writer.marker("STREAMSTORE>");
        writer.record("APP", "CHAR", {rvStreamStorageInfo::productName()});
        writer.record("APPVERSION", "INTE", {kVersionMajor, kVersionMinor, kVersionRevision});
        bool constantsWritten = false;
        EXPORTBINARYCONSTANTLIST(io, file, constantsWritten);
        const auto flags = flagFields(s);
        writer.header("STRMLOGI", static_cast<int32_t>(flags.size()), "LOGI");
        for (const bool* flag : flags) writer.item(*flag);
        writer.record("MAINKEY", "CHAR", {s.MainKey_});
        writer.record("ROOTKEY", "CHAR", {s.RootKey_});
        writer.record("FOLDERKEY", "CHAR", {s.FolderKey_});
        const int32_t numberOfSets = s.NumberOfStreamSets();
        writer.record("NUMSETS", "INTE", {numberOfSets});
        // The binary form ends the store with an index of its datasets (see StoreFileView), built
        // from the records as they are written. An empty store has none. Between datasets the
        // host's message loop gets one pass when input is waiting.
        StoreIndexWriter index(file);
        for (int32_t i = 1; i <= numberOfSets; ++i) {
            s.dataSetAt(i).BINARYEXPORT(file, qOK);
            runHostMessageLoopOnce();
        }
        index.Finish();
        writer.marker("<STREAMSTORE");
        qOK = writer.lastOK();
    }

    // ---- import ----

    static bool enough(const RecordHeader& header, int32_t minimum) { return header.count >= minimum; }

    static RecordStep read(rvStreamStore& s, RecordIO& io, RecordFile& file, const RecordHeader& header) {
        const std::string& key = header.keyword;
        if (header.type == "INTE") {
            if (key == "ATTCONST" && enough(header, 1)) {
                attributeConstantTable() = readLongs(io, file, header);
            } else {
                // "APPVERSION" names the writer only; "NUMSETS" is not used (datasets are
                // counted by their own sections).
                readPast(io, file, header);
            }
        } else if (header.type == "CHAR") {
            return readTextRecord(s, io, file, header);
        } else if (header.type == "LOGI") {
            if (key == "STRMLOGI") {
                // Fewer than four flags: the body is left unread.
                if (enough(header, kFlagsNeeded)) readFlags(s, readLogicals(io, file, header));
            } else {
                readPast(io, file, header);
            }
        } else if (header.type == "REAL") {
            readPast(io, file, header);
        } else if (header.type == "DOUB") {
            if (key == "NULLVAL") {
                readDoubles(io, file, header);
            } else {
                readPast(io, file, header);
            }
        }
        // A record of any other type is left unread.
        return RecordStep::Next;
    }

    static RecordStep readTextRecord(rvStreamStore& s, RecordIO& io, RecordFile& file, const RecordHeader& header) {
        const std::string& key = header.keyword;
        const bool hasItem = enough(header, 1);
        if (key == "STREAMSET>") {
            chargeLoad(file, kDataSetBytes, "a dataset");
            return readDataSet(s, file);
        }
        if (key == "MAINKEY" || key == "ROOTKEY" || key == "FOLDERKEY") {
            // Set directly: FolderKey comes from the file, it is not recomputed.
            std::string& field = key == "MAINKEY" ? s.MainKey_ : (key == "ROOTKEY" ? s.RootKey_ : s.FolderKey_);
            if (hasItem) field = readText(io, file);
        } else if (key == "APP" || key == "STREAMSTORE>") {
            if (hasItem) readText(io, file);
        } else if (key == "<STREAMSTORE") {
            if (hasItem) readText(io, file);
            return RecordStep::SectionClosed;
        } else {
            readPast(io, file, header);
        }
        return RecordStep::Next;
    }

    static void readFlags(rvStreamStore& s, const Array<bool>& values) {
        const auto flags = flagFields(s);
        const int32_t last = values.ubound() >= kFlagsFull ? kFlagsFull : kFlagsNeeded;
        for (int32_t k = 1; k <= last; ++k) *flags[static_cast<size_t>(k - 1)] = values(k);
    }

    // A dataset that loads goes through the normal add procedure; one that fails is dropped and
    // ends the import as if the store had closed.
    static RecordStep readDataSet(rvStreamStore& s, RecordFile& file) {
        auto dataSet = std::make_shared<rvStreamSet>();
        bool loaded = false;
        dataSet->BINARYIMPORT(file, loaded);
        if (!loaded) return RecordStep::Stopped;
        s.AddItem(dataSet);
        return RecordStep::Next;
    }
};

void rvStreamStore::BINARYEXPORT(RecordFile& cFILETYPE, bool& qOK) {
    qOK = false;
    runTrapped(kSource, "BINARYEXPORT", [&] { BinaryForm::write(*this, cFILETYPE, qOK); });
}

void rvStreamStore::BINARYIMPORT(RecordFile& cFILETYPE, bool& qOK) {
    qOK = false;
    runTrapped(kSource, "BINARYIMPORT", [&] {
        RecordIO io;
        ReadingLoopSettings settings{kSource, "BINARYIMPORT", "<STREAMSTORE"};
        // Header failures do not stop the store's loop; the end of file they leave does.
        settings.raiseOnHeaderFailure = false;
        qOK = runReadingLoop(io, cFILETYPE, settings, [&](const RecordHeader& header) {
            return BinaryForm::read(*this, io, cFILETYPE, header);
        });
    });
}

bool rvStreamStore::sameContents(const rvStreamStore& other, std::string& difference) const {
    ContentsComparison c;
    const bool compared = runTrapped(kSource, "sameContents", [&] {
        const auto flags = BinaryForm::flagFields(*this);
        const auto otherFlags = BinaryForm::flagFields(other);
        for (size_t k = 0; k < flags.size(); ++k) c.field("STRMLOGI item", *flags[k], *otherFlags[k]);
        c.field("MainKey", MainKey_, other.MainKey_);
        c.field("RootKey", RootKey_, other.RootKey_);
        c.field("FolderKey", FolderKey_, other.FolderKey_);
        c.field("NumberOfStreamSets", NumberOfStreamSets(), other.NumberOfStreamSets());
        for (int32_t i = 1; c.same() && i <= NumberOfStreamSets(); ++i) {
            std::string dataSetDifference;
            const bool same = dataSetAt(i).sameContents(other.dataSetAt(i), dataSetDifference);
            c.nested(("dataset " + std::to_string(i)).c_str(), same, dataSetDifference);
        }
    });
    difference = compared ? c.difference() : "(the comparison failed)";
    return compared && c.same();
}

}  // namespace tkstream63

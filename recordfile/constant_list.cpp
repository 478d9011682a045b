#include "recordfile/constant_list.hpp"

#include "common/errors.hpp"

namespace tkstream63 {

void EXPORTBINARYCONSTANTLIST(RecordIO& io, RecordFile& cFILETYPE, bool& qOK) {
    qOK = false;
    runTrapped("rvBinaryCSV", "EXPORTBINARYCONSTANTLIST", [&] {
        bool written = false;
        checkRecordCall(io.WriteRecordHeader(cFILETYPE, "ATTCONST", kAttributeConstants.size(), "INTE", written),
                        cFILETYPE);
        for (const int16_t value : kAttributeConstants) checkRecordCall(io.WriteItem(cFILETYPE, value, written), cFILETYPE);
        qOK = true;
    });
}

Array<int32_t>& attributeConstantTable() {
    static thread_local Array<int32_t> table;
    return table;
}

}  // namespace tkstream63

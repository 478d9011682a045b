// rvStreamSet streamline table: the node table, the pointer table, the column headers and the
// start date, each handed over whole by the host.
#include <string_view>

#include "common/errors.hpp"
#include "streamset/stream_set.hpp"

namespace tkstream63 {

namespace {

constexpr std::string_view kSource = "rvStreamSet";

// Elements 1 To n of a caller's list as a new (1 To n) array; error 9 when the list is shorter.
Array<std::string> leadingElements(const Array<std::string>& source, int32_t n) {
    const size_t start = source.offsetOf(1);
    source.checkRun(start, static_cast<size_t>(n));
    Array<std::string> copy(1, n);
    copy.copyIn(0, source.data() + start, static_cast<size_t>(n));
    return copy;
}

}  // namespace

template <class T>
void rvStreamSet::replaceTable(Array<T>& stored, const Array<T>& source, int32_t lower1,
                               int32_t upper1, int32_t lower2, int32_t upper2) {
    const int64_t count = (int64_t{upper1} - lower1 + 1) * (int64_t{upper2} - lower2 + 1);
    const size_t start = source.offsetOf(lower1, lower2);
    source.checkRun(start, static_cast<size_t>(count));
    // Reloading a table of the same shape overwrites it in place, which spares a large
    // allocation and the page faults of touching fresh memory.
    const bool sameShape = stored.rank() == 2 && stored.lbound(1) == lower1 &&
                           stored.ubound(1) == upper1 && stored.lbound(2) == lower2 &&
                           stored.ubound(2) == upper2;
    if (!sameShape) stored.redimForOverwrite(lower1, upper1, lower2, upper2);
    stored.copyIn(0, source.data() + start, static_cast<size_t>(count));
}

template void rvStreamSet::replaceTable<float>(Array<float>&, const Array<float>&, int32_t,
                                               int32_t, int32_t, int32_t);
template void rvStreamSet::replaceTable<int32_t>(Array<int32_t>&, const Array<int32_t>&, int32_t,
                                                 int32_t, int32_t, int32_t);

void rvStreamSet::setStreamLineData(const Array<float>& StreamLines, int32_t nCols,
                                    int32_t nnodes, bool& qOK) {
    qOK = false;
    runTrapped(kSource, "setStreamLineData", [&] {
        if (nCols > 0 && nnodes > 0) {
            replaceTable(StreamLines_, StreamLines, 1, nnodes, 1, nCols);
            nDataColumns_ = nCols;
            MaxRows_ = nnodes;
            rowCapacity_ = nnodes;
        }
        qOK = true;
    });
}

void rvStreamSet::setStreamLinePointers(const Array<int32_t>& iStreamLines, int32_t nCols,
                                        int32_t nStreamLines, bool& qOK) {
    qOK = false;
    runTrapped(kSource, "setStreamLinePointers", [&] {
        if (nCols > 0 && nStreamLines > 0) {
            // The table holds twice as many streamline columns as there are streamlines; hosts
            // hand it over that size and the record file keeps it so.
            const int32_t columns = checkedLong(int64_t{2} * nStreamLines);
            replaceTable(iStreamLines_, iStreamLines, 1, nCols, 1, columns);
            NumberStreamlines_ = nStreamLines;
            pointerCount_ = nStreamLines;
        }
        qOK = true;
    });
}

void rvStreamSet::setHeaders(const Array<std::string>& zHeaders,
                             const Array<std::string>& zUnits, int32_t nHeaders, bool& qOK) {
    qOK = false;
    runTrapped(kSource, "setHeaders", [&] {
        if (nHeaders < 1) return;
        Array<std::string> headers = leadingElements(zHeaders, nHeaders);
        Array<std::string> units = leadingElements(zUnits, nHeaders);
        zHeaders_.swap(headers);
        zUnits_.swap(units);
        NumCols_ = nHeaders;
        qOK = true;
    });
}

void rvStreamSet::getHeaders(Array<std::string>& zHeaders, Array<std::string>& zUnits,
                             int32_t& nHeaders, bool& qOK) const {
    qOK = false;
    runTrapped(kSource, "getHeaders", [&] {
        if (NumCols_ < 1) return;
        nHeaders = NumCols_;
        zHeaders = leadingElements(zHeaders_, NumCols_);
        // The units array gets the header names too: hosts have always read it that way.
        zUnits = leadingElements(zHeaders_, NumCols_);
        qOK = true;
    });
}

void rvStreamSet::setStartDate(int32_t iDay, int32_t iMonth, int32_t iYear, bool& qOK) noexcept {
    startDay_ = iDay;
    startMonth_ = iMonth;
    startYear_ = iYear;
    qOK = true;
}

}  // namespace tkstream63

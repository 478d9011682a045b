// rvStreamSet: loading the attributes from one Variant vector, and the handles by which a host
// reads the dataset's counters and tables directly.
#include <charconv>
#include <string>
#include <string_view>

#include "common/errors.hpp"
#include "common/text.hpp"
#include "streamset/stream_set.hpp"

namespace tkstream63 {

namespace {

constexpr const char* kSource = "rvStreamSet";

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n'; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

// The number a text starts with, read as the host language's Val reads it: blanks, tabs and
// line feeds are ignored anywhere, reading stops at the first character that cannot continue
// the number, and a text without a leading number gives 0. Too large a number is an Overflow.
double leadingNumber(std::string_view text) {
    std::string number;
    bool inExponent = false;
    bool pointSeen = false;
    bool mantissaDigitSeen = false;
    for (const char c : text) {
        if (isBlank(c)) continue;
        const bool atPartStart = number.empty() || number.back() == 'e';
        if (isDigit(c)) {
            mantissaDigitSeen = mantissaDigitSeen || !inExponent;
        } else if ((c == '+' || c == '-') && atPartStart) {
            // a sign may open the mantissa or the exponent
        } else if (c == '.' && !inExponent && !pointSeen) {
            pointSeen = true;
        } else if ((c == 'e' || c == 'E' || c == 'd' || c == 'D') && !inExponent &&
                   mantissaDigitSeen) {
            inExponent = true;
            number += 'e';
            continue;
        } else {
            break;
        }
        number += c;
    }
    if (!mantissaDigitSeen) return 0.0;
    // An exponent marker without digits ("12e", "12e-") adds nothing.
    while (!isDigit(number.back()) && number.back() != '.') number.pop_back();
    std::string_view digits = number;
    if (digits.front() == '+') digits.remove_prefix(1);
    double value = 0.0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error == std::errc::result_out_of_range) raiseError(kErrOverflow);
    return value;
}

// Elements 8 to 10 are taken only when they hold a number; anything else leaves the field.
void takeLongIfNumeric(const Variant& element, int32_t& field) {
    if (element.isNumeric()) field = element.toLong();
}

}  // namespace

bool rvStreamSet::SetClassVarsFromAttributes(const Array<Variant>& vAttributes) {
    const bool done = runTrapped(kSource, "rvStreamSet.SetClassVarsFromAttributes", [&] {
        // One field after the other in this order: a failure keeps the fields already set.
        const Array<Variant>& element = vAttributes;
        assignOrigin(element(1).toText());
        FileName_ = element(2).toText();
        SourceType_ = element(3).toText();
        DateStamp_ = element(4).toText();
        Units_ = roundToLong(leadingNumber(element(7).toText()));
        takeLongIfNumeric(element(8), index_);
        takeLongIfNumeric(element(9), iStart_);
        takeLongIfNumeric(element(10), iEnd_);
        Unified_ = element(12).toBoolean();
        Formatted_ = element(13).toBoolean();
        TVGroupName_ = element(18).toText();
        assignGroupName(element(19).toText());
        DataRootPath_ = element(20).toText();
        UniqueKey_ = element(21).toText();
        IsDirty_ = element(22).toBoolean();
        FileType_ = element(23).toLong();
        // The display root and its upper-case form come separately; neither is derived.
        TVDisplayRoot_ = element(24).toText();
        UCaseTVDisplayRoot_ = element(55).toText();
        DataClass_ = element(6).toText();
        AllData_ = element(32).toBoolean();
        SimulationTime_ = element(40).toSingle();
        iAttributesCount_ = element(42).toLong();
        qAttributesFlag_ = element(43).toBoolean();
    });
    // Also after a failure part-way: the fields assigned before it stay.
    identityWatchers_.notify();
    return done;
}

void rvStreamSet::GetAllPointers(Array<int32_t>& iPtrs) {
    runTrapped(kSource, "rvStreamSet.GetAllPointers", [&] {
        iPtrs.redim(1, 100);
        for (int32_t handle = 1; handle <= kPointerCount; ++handle) iPtrs(handle) = handle;
    });
}

rvStreamSet::FieldPointer rvStreamSet::ResolvePointer(int32_t handle) noexcept {
    // The published order of the pointer list; handle k is entry k.
    const FieldPointer fields[kPointerCount] = {
        &NumberStreamlines_, &NumberWells_, &MaximumNumberWells_, &nWellsAllocated_,
        &NumCols_, &MaxRows_, &nDataColumns_, &spareStreamlineCounter_,
        &SimulationEndTime_, &startDay_, &startMonth_, &startYear_,
        &spareLongAfterStartYear_, &iAttributesCount_, &pointerCount_,
        &xMin_, &xMax_, &yMin_, &yMax_, &zMin_, &zMax_,
        &TOFMin_, &TOFMax_, &DRTMin_, &DRTMax_,
        &spareLongAfterDRTMax_, &rowCapacity_, &StreamLines_, &iStreamLines_,
        &importCounters_[0], &importCounters_[1], &importCounters_[2], &importCounters_[3],
        &importCounters_[4], &importCounters_[5], &importCounters_[6], &importCounters_[7],
        &iWellData_, &bWellNames_, &sWellData_,
        &NumberProducers_, &spareLongBesideProducers_, &iProducers_,
        &NumberInjectors_, &spareLongBesideInjectors_, &iInjectors_, &nInjectorSinks_,
    };
    if (handle < 1 || handle > kPointerCount) return std::monostate{};
    return fields[handle - 1];
}

}  // namespace tkstream63

#include "common/variant.hpp"

#include "common/errors.hpp"
#include "common/text.hpp"

namespace tkstream63 {

bool Variant::isNumeric() const {
    switch (type()) {
        case Type::Null: return false;
        case Type::String: return isNumericText(std::get<std::string>(value_));
        default: return true;
    }
}

std::string Variant::toText() const {
    switch (type()) {
        case Type::Empty: return "";
        case Type::Null: raiseError(kErrTypeMismatch);
        case Type::Boolean: return booleanToText(std::get<bool>(value_));
        case Type::Integer: return longToText(std::get<int16_t>(value_));
        case Type::Long: return longToText(std::get<int32_t>(value_));
        case Type::Single: return singleToText(std::get<float>(value_));
        case Type::Double: return doubleToText(std::get<double>(value_));
        case Type::String: return std::get<std::string>(value_);
    }
    return "";
}

double Variant::toDouble() const {
    switch (type()) {
        case Type::Empty: return 0.0;
        case Type::Null: raiseError(kErrTypeMismatch);
        case Type::Boolean: return std::get<bool>(value_) ? -1.0 : 0.0;
        case Type::Integer: return std::get<int16_t>(value_);
        case Type::Long: return std::get<int32_t>(value_);
        case Type::Single: return std::get<float>(value_);
        case Type::Double: return std::get<double>(value_);
        case Type::String: return textToDouble(std::get<std::string>(value_));
    }
    return 0.0;
}

int32_t Variant::toLong() const { return roundToLong(toDouble()); }
int16_t Variant::toInteger() const { return roundToInteger(toDouble()); }

float Variant::toSingle() const {
    if (type() == Type::Single) return std::get<float>(value_);
    if (type() == Type::String) return textToSingle(std::get<std::string>(value_));
    const double value = toDouble();
    checkSingleRange(value);
    return static_cast<float>(value);
}

bool Variant::toBoolean() const {
    if (type() == Type::Boolean) return std::get<bool>(value_);
    if (type() == Type::String) return textToBoolean(std::get<std::string>(value_));
    return toDouble() != 0.0;
}

}  // namespace tkstream63

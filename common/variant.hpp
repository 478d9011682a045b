// Variant: the tagged value of the published interface (Empty, Null, Boolean, Integer, Long,
// Single, Double, String) with the conversions the classes need.
#pragma once

#include <cstdint>
#include <string>
#include <variant>

namespace tkstream63 {

class Variant {
public:
    enum class Type { Empty, Null, Boolean, Integer, Long, Single, Double, String };
    struct NullValue {};

    Variant() = default;
    Variant(NullValue) : value_(NullValue{}) {}
    Variant(bool v) : value_(v) {}
    Variant(int16_t v) : value_(v) {}
    Variant(int32_t v) : value_(v) {}
    Variant(float v) : value_(v) {}
    Variant(double v) : value_(v) {}
    Variant(std::string v) : value_(std::move(v)) {}
    Variant(const char* v) : value_(std::string(v)) {}

    static Variant null() { return Variant(NullValue{}); }

    Type type() const noexcept { return static_cast<Type>(value_.index()); }
    bool isEmpty() const noexcept { return type() == Type::Empty; }
    bool isNull() const noexcept { return type() == Type::Null; }
    // True for the numeric types, Booleans, Empty and text that parses as a number.
    bool isNumeric() const;

    // Conversions. Null converts to nothing (Type mismatch, 13); Empty converts to 0, "" or False;
    // text is parsed as textToLong & co. do; numbers out of range raise Overflow (6).
    std::string toText() const;
    int32_t toLong() const;      // banker's rounding
    int16_t toInteger() const;   // banker's rounding
    float toSingle() const;
    double toDouble() const;
    bool toBoolean() const;

    bool operator==(const Variant& other) const = default;

private:
    friend bool operator==(NullValue, NullValue) { return true; }
    std::variant<std::monostate, NullValue, bool, int16_t, int32_t, float, double, std::string> value_;
};

}  // namespace tkstream63

#include "Numbers.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>

namespace orvcase {
namespace {

bool isDigit(char c, bool hexadecimal) {
    if (c >= '0' && c <= '9') return true;
    return hexadecimal && ((c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'));
}

std::size_t digits(std::string_view text, std::size_t from, bool hexadecimal) {
    std::size_t end = from;
    while (end < text.size() && isDigit(text[end], hexadecimal)) ++end;
    return end - from;
}

bool isSign(std::string_view text, std::size_t at) { return at < text.size() && (text[at] == '+' || text[at] == '-'); }

// strtof takes more than the format does ("infinity", "nan(1)", leading blanks), so the form is checked first.
bool isNumber(std::string_view text) {
    std::size_t at = isSign(text, 0) ? 1 : 0;
    const bool hexadecimal = text.size() > at + 1 && text[at] == '0' && (text[at + 1] | 0x20) == 'x';
    if (hexadecimal) at += 2;
    std::size_t count = digits(text, at, hexadecimal);
    at += count;
    if (at < text.size() && text[at] == '.') {
        const std::size_t fraction = digits(text, ++at, hexadecimal);
        count += fraction;
        at += fraction;
    }
    if (count == 0) return false;
    if (at == text.size()) return true;
    if ((text[at] | 0x20) != (hexadecimal ? 'p' : 'e')) return false;
    at += isSign(text, at + 1) ? 2 : 1;
    const std::size_t exponent = digits(text, at, false);
    return exponent > 0 && at + exponent == text.size();
}

} // namespace

std::optional<std::int64_t> parseInteger(std::string_view token, std::int64_t low, std::int64_t high) {
    if (token.size() > 1 && token.front() == '+' && token[1] != '-') token.remove_prefix(1);
    std::int64_t value = 0;
    const char* end = token.data() + token.size();
    const auto [stop, error] = std::from_chars(token.data(), end, value);
    if (error != std::errc{} || stop != end || value < low || value > high) return std::nullopt;
    return value;
}

std::optional<float> parseFloat(std::string_view token) {
    std::string_view unsignedPart = token;
    if (isSign(token, 0)) unsignedPart.remove_prefix(1);
    const float sign = token.starts_with('-') ? -1.0f : 1.0f;
    if (unsignedPart == "inf") return sign * HUGE_VALF;
    if (unsignedPart == "nan") return std::nanf("");
    if (!isNumber(token)) return std::nullopt;
    // strtof rounds correctly once; going by way of a double would round twice.
    return std::strtof(std::string(token).c_str(), nullptr);
}

std::string formatFloat(float value) {
    if (std::isnan(value)) return "nan";
    if (std::isinf(value)) return value < 0 ? "-inf" : "inf";
    std::array<char, 48> buffer{};
    const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value).ptr;
    return {buffer.data(), end};
}

} // namespace orvcase

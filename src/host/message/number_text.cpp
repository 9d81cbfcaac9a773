// Numbers as text: a double becomes digits, correctly rounded, in fixed notation or in the form that shows the most of
// it in a given width. No locale, no allocation.
#include "host/message/number_text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

#include "numeric/missing.h"

namespace vek {

namespace {

constexpr int longest = 512;       // characters of a work buffer: a double in fixed notation with 99 decimals fits
constexpr int most_decimals = 40;  // fixed notation is not asked for with more

int copy(std::string_view text, char* to) {
    std::memcpy(to, text.data(), text.size());
    return static_cast<int>(text.size());
}

/// What a field shows that is too narrow for its value.
int write_overflow(int width, char* to) {
    std::fill_n(to, width, '*');
    return width;
}

/// The shortest digits that read back as the value: d.ddd times ten to the exponent.
struct Digits {
    char digit[24];
    int count = 0;
    int exponent = 0;
};

Digits split(const char* scientific, const char* end) {
    Digits out;
    const char* at = scientific;
    for (; at < end && *at != 'e'; ++at) {
        if (*at != '.') out.digit[out.count++] = *at;
    }
    while (out.count > 1 && out.digit[out.count - 1] == '0') --out.count;
    ++at;
    if (at < end && *at == '+') ++at;
    std::from_chars(at, end, out.exponent);
    return out;
}

Digits shortest_digits(double magnitude) {
    char text[40];
    const auto done = std::to_chars(text, text + sizeof text, magnitude, std::chars_format::scientific);
    return split(text, done.ptr);
}

/// At most 17 significant digits, so that they are the value's own and not those of its binary expansion.
Digits rounded_digits(double magnitude, int significant) {
    char text[40];
    const auto done = std::to_chars(text, text + sizeof text, magnitude, std::chars_format::scientific,
                                    std::clamp(significant, 1, 17) - 1);
    return split(text, done.ptr);
}

int exponent_length(int exponent) {
    const int size = std::abs(exponent);
    return 1 + (exponent < 0 ? 1 : 0) + (size < 10 ? 1 : size < 100 ? 2 : 3);
}

/// Characters that digits take in fixed notation, without sign.
int fixed_length(const Digits& d) {
    if (d.exponent < 0) return 1 + 1 + (-d.exponent - 1) + d.count;
    const int whole = d.exponent + 1;
    return d.count <= whole ? whole : d.count + 1;
}

int scientific_length(const Digits& d) { return d.count + (d.count > 1 ? 1 : 0) + exponent_length(d.exponent); }

int put_fixed(const Digits& d, char* to) {
    char* at = to;
    if (d.exponent < 0) {
        *at++ = '0';
        *at++ = '.';
        for (int i = 0; i < -d.exponent - 1; ++i) *at++ = '0';
        for (int i = 0; i < d.count; ++i) *at++ = d.digit[i];
        return static_cast<int>(at - to);
    }
    for (int i = 0; i <= d.exponent; ++i) *at++ = i < d.count ? d.digit[i] : '0';
    if (d.count > d.exponent + 1) {
        *at++ = '.';
        for (int i = d.exponent + 1; i < d.count; ++i) *at++ = d.digit[i];
    }
    return static_cast<int>(at - to);
}

int put_scientific(const Digits& d, char* to) {
    char* at = to;
    *at++ = d.digit[0];
    if (d.count > 1) {
        *at++ = '.';
        for (int i = 1; i < d.count; ++i) *at++ = d.digit[i];
    }
    *at++ = 'E';
    return static_cast<int>(std::to_chars(at, at + 8, d.exponent).ptr - to);
}

/// The digits that fixed notation can show in `room` characters, or none when the whole part does not fit.
Digits fit_fixed(double magnitude, const Digits& exact, int room) {
    const int whole = std::max(exact.exponent + 1, 1);
    // Rounding may carry into one more digit, so a result that is too long is made again with one digit less.
    for (int decimals = std::max(room - whole - 1, 0); decimals >= 0; --decimals) {
        const int significant = exact.exponent + 1 + decimals;
        if (significant < 0) return {};
        if (significant == 0) {
            // Less than one unit of the last decimal: it shows as that unit or as nothing.
            const Digits unit = rounded_digits(magnitude, 1);
            if (unit.exponent + 1 + decimals <= 0 && exact.digit[0] < '5') return {};
            Digits up;
            up.digit[0] = '1';
            up.count = 1;
            up.exponent = -decimals;
            return fixed_length(up) <= room ? up : Digits{};
        }
        const Digits d = significant >= exact.count ? exact : rounded_digits(magnitude, significant);
        if (fixed_length(d) <= room) return d;
        if (decimals == 0) break;
    }
    return {};
}

Digits fit_scientific(double magnitude, const Digits& exact, int room) {
    const int most = room - exponent_length(exact.exponent) - 1;
    for (int significant = std::min(exact.count, std::max(most, 1)); significant >= 1; --significant) {
        const Digits d = significant == exact.count ? exact : rounded_digits(magnitude, significant);
        if (scientific_length(d) <= room) return d;
    }
    return {};
}

constexpr double readable_from = 1e-4;  // below it an exponent is easier to read than rounded zeros

}  // namespace

std::string missing_text(double value) {
    const char code = missing_code(value);
    return code == '.' ? std::string(".") : std::string{'.', code};
}

int write_best(double value, int width, char* buffer) {
    if (width <= 0) return 0;
    if (wzmis(value)) {
        const std::string text = missing_text(value);
        return copy(std::string_view(text).substr(0, static_cast<std::size_t>(width)), buffer);
    }
    if (std::isnan(value)) return width >= 3 ? copy("NaN", buffer) : write_overflow(width, buffer);
    const int sign = value < 0 ? 1 : 0;
    if (std::isinf(value)) {
        const std::string_view text = sign != 0 ? "-inf" : "inf";
        return width >= static_cast<int>(text.size()) ? copy(text, buffer) : write_overflow(width, buffer);
    }
    const double magnitude = std::fabs(value);
    if (magnitude == 0) return copy("0", buffer);
    const int room = width - sign;
    const Digits exact = shortest_digits(magnitude);
    Digits shown = exact;
    bool exponent = false;
    if (fixed_length(exact) > room) {
        shown = fit_fixed(magnitude, exact, room);
        if (shown.count < exact.count && (shown.count == 0 || magnitude < readable_from)) {
            const Digits scientific = fit_scientific(magnitude, exact, room);
            if (scientific.count > shown.count) {
                shown = scientific;
                exponent = true;
            }
        }
        // Too small for the width in either notation: it rounds to nothing.
        if (shown.count == 0) return magnitude < 1 ? copy("0", buffer) : write_overflow(width, buffer);
    }
    if (sign != 0) *buffer = '-';
    return sign + (exponent ? put_scientific(shown, buffer + sign) : put_fixed(shown, buffer + sign));
}

int write_fixed(double value, int width, int decimals, char* buffer) {
    if (wzmis(value) || !std::isfinite(value) || decimals < 0 || decimals > most_decimals) {
        return write_best(value, width, buffer);
    }
    char text[longest];
    const auto done =
        std::to_chars(text, text + sizeof text, value == 0 ? 0.0 : value, std::chars_format::fixed, decimals);
    int length = static_cast<int>(done.ptr - text);
    if (length > width) {
        // The zero before the point is the first to go.
        char* zero = text[0] == '-' ? text + 1 : text;
        if (length == width + 1 && decimals > 0 && zero[0] == '0' && zero[1] == '.') {
            std::memmove(zero, zero + 1, static_cast<std::size_t>(done.ptr - zero - 1));
            --length;
        } else {
            return write_best(value, width, buffer);
        }
    }
    return copy({text, static_cast<std::size_t>(length)}, buffer);
}

std::string best_text(double value, int width) {
    char text[longest];
    return {text, static_cast<std::size_t>(write_best(value, std::min(width, longest), text))};
}

std::string fixed_text(double value, int width, int decimals) {
    char text[longest];
    return {text, static_cast<std::size_t>(write_fixed(value, std::min(width, longest), decimals, text))};
}

// ---- what the module calls --------------------------------------------------------------------------------------

namespace {

void justify_right(std::string_view text, int width, char* buffer) {
    const auto field = static_cast<std::size_t>(width);
    const std::size_t blanks = field - text.size();
    std::fill_n(buffer, blanks, ' ');
    std::memcpy(buffer + blanks, text.data(), text.size());
}

}  // namespace

void xpfs(double value, int width, int decimals, char* buffer) {
    if (width <= 0) return;
    char text[longest];
    const int limit = std::min(width, longest);
    const int length = decimals < 99 ? write_fixed(value, limit, decimals, text) : write_best(value, limit, text);
    justify_right({text, static_cast<std::size_t>(length)}, width, buffer);
}

void xpils(std::int64_t value, int width, char* buffer) {
    if (width <= 0) return;
    char text[24];
    const auto done = std::to_chars(text, text + sizeof text, value);
    const auto length = static_cast<int>(done.ptr - text);
    if (length > width) {
        std::fill_n(buffer, width, '*');
        return;
    }
    justify_right({text, static_cast<std::size_t>(length)}, width, buffer);
}

int zpfmt(double value, int width) {
    constexpr int sign_and_point = 2;
    if (wzmis(value) || !std::isfinite(value)) value = 0;
    const double magnitude = std::fabs(value);
    const int whole = magnitude < 1 ? 1 : shortest_digits(magnitude).exponent + 1;
    for (int decimals = width - whole - sign_and_point; decimals > 0; --decimals) {
        // A value that rounds up to the next power of ten needs a place more.
        const bool carries =
            decimals < 17 && magnitude >= 1 && rounded_digits(magnitude, whole + decimals).exponent + 1 > whole;
        if (!carries) return decimals;
    }
    return whole + 1 <= width ? 0 : 99;
}

std::string znamfix(std::string_view prefix, int number, int width) {
    std::string digits = std::to_string(number);
    const int room = width - static_cast<int>(digits.size());
    if (room <= 0) return digits.substr(0, static_cast<std::size_t>(std::max(width, 0)));
    auto keep = std::min(prefix.size(), static_cast<std::size_t>(room));
    // Never half a character.
    while (keep > 0 && keep < prefix.size() && (static_cast<unsigned char>(prefix[keep]) & 0xC0U) == 0x80U) --keep;
    return std::string(prefix.substr(0, keep)) + digits;
}

}  // namespace vek

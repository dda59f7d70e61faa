// Decimal text to binary numbers, correctly rounded, for the readers of text formats.
//
// Layer: below the readers, knows none of them. The text is any run of bytes that is ended by a byte no number
// holds (a blank or a line end); the functions stop there and need no length, but kReadAhead bytes behind that byte
// have to be readable, whatever they are. A number is an optional sign, digits
// with an optional point, and an optional exponent; "nan", "inf", "infinity" in any case, and what Microsoft's
// runtime writes for them (1.#QNAN, -1.#IND, 1.#INF) are numbers too. Hexadecimal numbers are not.
//
// Results are the nearest representable number, ties to even, whatever the length of the text; too large is
// infinity, too small is zero. The locale has no influence.
#pragma once

#include <locale.h>
#include <stdlib.h>
#if __has_include(<xlocale.h>)
#include <xlocale.h>
#endif

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>

namespace mirel::text {

inline constexpr std::size_t kReadAhead = 8;

inline bool is_digit(char c) {
  return static_cast<unsigned char>(c - '0') < 10;
}

// The digits at `p`, at most eight of them.
struct DigitRun {
  std::uint32_t value = 0;
  std::uint32_t length = 0;
};

// All eight bytes at once (Lemire 2018): text has digit runs of any length, and a loop over them ends in a wrong
// guess of the processor nearly every time.
inline DigitRun scan_digits(char const* p) {
  DigitRun run;
  if constexpr (std::endian::native == std::endian::little) {
    std::uint64_t bytes = 0;
    std::memcpy(&bytes, p, 8);
    bytes ^= 0x3030303030303030U;
    // The lowest byte with its high bit set is the first that is not 0 to 9; what is above it may be spoilt by carry.
    std::uint64_t const others = ((bytes + 0x7676767676767676U) | bytes) & 0x8080808080808080U;
    if ((others & 0x80U) != 0) return run;
    run.length = others == 0 ? 8 : static_cast<std::uint32_t>(std::countr_zero(others)) / 8;
    bytes <<= 64 - run.length * 8;
    bytes = bytes * 10 + (bytes >> 8);
    bytes = (bytes & 0x000000FF000000FFU) * 0x000F424000000064U +
            ((bytes >> 16) & 0x000000FF000000FFU) * 0x0000271000000001U;
    run.value = static_cast<std::uint32_t>(bytes >> 32);
  } else {
    while (run.length < 8 && is_digit(p[run.length])) {
      run.value = run.value * 10 + static_cast<std::uint32_t>(p[run.length++] - '0');
    }
  }
  return run;
}

namespace detail {

inline constexpr int kLowestPower = -64;
inline constexpr int kHighestPower = 38;
// clang-format off
inline constexpr double kPowersOfTen[] = {
    1e-64, 1e-63, 1e-62, 1e-61, 1e-60, 1e-59, 1e-58, 1e-57, 1e-56, 1e-55, 1e-54, 1e-53,
    1e-52, 1e-51, 1e-50, 1e-49, 1e-48, 1e-47, 1e-46, 1e-45, 1e-44, 1e-43, 1e-42, 1e-41,
    1e-40, 1e-39, 1e-38, 1e-37, 1e-36, 1e-35, 1e-34, 1e-33, 1e-32, 1e-31, 1e-30, 1e-29,
    1e-28, 1e-27, 1e-26, 1e-25, 1e-24, 1e-23, 1e-22, 1e-21, 1e-20, 1e-19, 1e-18, 1e-17,
    1e-16, 1e-15, 1e-14, 1e-13, 1e-12, 1e-11, 1e-10, 1e-9, 1e-8, 1e-7, 1e-6, 1e-5,
    1e-4, 1e-3, 1e-2, 1e-1, 1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7,
    1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19,
    1e20, 1e21, 1e22, 1e23, 1e24, 1e25, 1e26, 1e27, 1e28, 1e29, 1e30, 1e31,
    1e32, 1e33, 1e34, 1e35, 1e36, 1e37, 1e38,
};
// clang-format on

inline constexpr std::uint64_t kRunFactors[] = {1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000};

inline char const* append_digits(char const* p, std::uint64_t& digits) {
  for (;;) {
    DigitRun const run = scan_digits(p);
    digits = digits * kRunFactors[run.length] + run.value;
    p += run.length;
    if (run.length < 8) return p;
  }
}

struct Decimal {
  std::uint64_t digits = 0;  // meaningless where there are more than 19 significant ones
  std::int64_t exponent = 0;
  bool negative = false;
  bool digits_fit = true;
};

inline char const* match_word(char const* p, char const* word) {
  for (; *word != 0; ++p, ++word) {
    if ((static_cast<unsigned char>(*p) | 0x20) != static_cast<unsigned char>(*word)) return nullptr;
  }
  return p;
}

// `p` is behind the sign. Returns the end, or null where none of the words for NaN and infinity stands there.
inline char const* scan_special(char const* p, bool& is_nan) {
  is_nan = false;
  if (char const* end = match_word(p, "infinity")) return end;
  if (char const* end = match_word(p, "inf")) return end;
  if (char const* end = match_word(p, "nan")) {
    is_nan = true;
    if (*end != '(') return end;
    char const* inner = end + 1;
    while (is_digit(*inner) || (*inner >= 'a' && *inner <= 'z') || (*inner >= 'A' && *inner <= 'Z') || *inner == '_')
      ++inner;
    return *inner == ')' ? inner + 1 : end;
  }
  if (p[0] != '1' || p[1] != '.' || p[2] != '#') return nullptr;
  char const* end = match_word(p + 3, "inf");
  if (end == nullptr) {
    is_nan = true;
    end = match_word(p + 3, "qnan");
    if (end == nullptr) end = match_word(p + 3, "snan");
    if (end == nullptr) end = match_word(p + 3, "ind");
  }
  while (end != nullptr && is_digit(*end)) ++end;
  return end;
}

// Returns the end of the decimal at `p`, or null where there is none.
inline char const* scan_decimal(char const* p, Decimal& out) {
  out.negative = *p == '-';
  if (*p == '-' || *p == '+') ++p;
  char const* const first = p;
  std::uint64_t digits = 0;
  // Most whole parts have one digit.
  if (is_digit(*p)) digits = static_cast<std::uint64_t>(*p++ - '0');
  if (is_digit(*p)) p = append_digits(p, digits);
  std::int64_t digit_count = p - first;
  std::int64_t exponent = 0;
  if (*p == '.') {
    char const* const fraction = ++p;
    p = append_digits(p, digits);
    exponent = fraction - p;
    digit_count -= exponent;
  }
  if (digit_count == 0) return nullptr;
  out.digits_fit = true;
  if (digit_count > 19) {
    char const* leading = first;
    for (; *leading == '0' || *leading == '.'; ++leading) digit_count -= *leading == '0' ? 1 : 0;
    out.digits_fit = digit_count <= 19;
  }
  if ((*p | 0x20) == 'e') {
    char const* q = p + 1;
    bool const negative = *q == '-';
    if (*q == '-' || *q == '+') ++q;
    if (!is_digit(*q)) return nullptr;
    std::int64_t value = 0;
    for (; is_digit(*q); ++q) {
      if (value < 1'000'000'000'000) value = value * 10 + (*q - '0');
    }
    exponent += negative ? -value : value;
    p = q;
  }
  out.digits = digits;
  out.exponent = exponent;
  return p;
}

inline locale_t plain_locale() {
  static locale_t const locale = newlocale(LC_ALL_MASK, "C", nullptr);
  return locale;
}

// Out of line: what the C library needs would weigh on every number otherwise.
[[gnu::noinline]] inline float convert_float(char const* p, char const* end) {
  return strtof_l(std::string(p, end).c_str(), nullptr, plain_locale());
}

[[gnu::noinline]] inline double convert_double(char const* p, char const* end) {
  return strtod_l(std::string(p, end).c_str(), nullptr, plain_locale());
}

template <typename Float>
[[gnu::noinline]] char const* scan_signed_special(char const* p, Float& value) {
  bool is_nan = false;
  bool const negative = *p == '-';
  char const* const end = scan_special(*p == '-' || *p == '+' ? p + 1 : p, is_nan);
  if (end == nullptr) return nullptr;
  Float const magnitude = is_nan ? std::numeric_limits<Float>::quiet_NaN() : std::numeric_limits<Float>::infinity();
  value = negative ? -magnitude : magnitude;
  return end;
}

}  // namespace detail

// Returns the end of the number at `p`, or null where there is none. The caller judges the byte at the end.
inline char const* scan_float(char const* p, float& value) {
  detail::Decimal decimal;
  char const* const end = detail::scan_decimal(p, decimal);
  if (end == nullptr || *end == '#') [[unlikely]]
    return detail::scan_signed_special(p, value);
  // digits x 10^exponent in doubles is off by less than four units in the last place: one each for the two factors
  // and the product. Where no midpoint of two floats is that near, the double and the exact value lie between the
  // same midpoints and so round to the same float.
  std::uint64_t const row = static_cast<std::uint64_t>(decimal.exponent - detail::kLowestPower);
  if (decimal.digits_fit && row <= detail::kHighestPower - detail::kLowestPower &&
      decimal.digits <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) [[likely]] {
    double const product = static_cast<double>(static_cast<std::int64_t>(decimal.digits)) * detail::kPowersOfTen[row];
    std::uint64_t const below_float = std::bit_cast<std::uint64_t>(product) & 0x1FFFFFFFU;
    bool const clear_of_midpoint = below_float - 0x0FFFFFF0U > 0x20U;
    if (clear_of_midpoint && ((product > 1.2e-38 && product < 3.4e38) || decimal.digits == 0)) [[likely]] {
      float const magnitude = static_cast<float>(product);
      value = decimal.negative ? -magnitude : magnitude;
      return end;
    }
  }
  value = detail::convert_float(p, end);
  return end;
}

inline char const* scan_double(char const* p, double& value) {
  detail::Decimal decimal;
  char const* const end = detail::scan_decimal(p, decimal);
  if (end == nullptr || *end == '#') [[unlikely]]
    return detail::scan_signed_special(p, value);
  // Both factors are exact, so one rounding is the only one (Clinger 1990).
  if (decimal.digits_fit && decimal.digits < (std::uint64_t{1} << 53) && decimal.exponent >= -22 &&
      decimal.exponent <= 22) {
    double const digits = static_cast<double>(decimal.digits);
    auto const power = [](std::int64_t exponent) { return detail::kPowersOfTen[exponent - detail::kLowestPower]; };
    double const magnitude =
        decimal.exponent < 0 ? digits / power(-decimal.exponent) : digits * power(decimal.exponent);
    value = decimal.negative ? -magnitude : magnitude;
    return end;
  }
  value = detail::convert_double(p, end);
  return end;
}

}  // namespace mirel::text

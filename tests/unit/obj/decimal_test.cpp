#include "standalone/text/decimal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

namespace mirel::text {
namespace {

// With the bytes behind the end that scanning may look at.
std::string padded(std::string text, char padding = '7') {
  return text.append(1, '\0').append(kReadAhead, padding);
}

std::uint32_t float_bits(std::string const& text) {
  float value = -1;
  std::string const bytes = padded(text);
  EXPECT_EQ(scan_float(bytes.data(), value), bytes.data() + text.size()) << text;
  return std::bit_cast<std::uint32_t>(value);
}

std::uint64_t double_bits(std::string const& text) {
  double value = -1;
  std::string const bytes = padded(text, '\xFF');
  EXPECT_EQ(scan_double(bytes.data(), value), bytes.data() + text.size()) << text;
  return std::bit_cast<std::uint64_t>(value);
}

void expect_as_c_library(std::string const& text) {
  EXPECT_EQ(float_bits(text), std::bit_cast<std::uint32_t>(std::strtof(text.c_str(), nullptr))) << text;
  EXPECT_EQ(double_bits(text), std::bit_cast<std::uint64_t>(std::strtod(text.c_str(), nullptr))) << text;
}

TEST(Decimal, GivesTheNearestNumber) {
  for (char const* text : {"0",
                           "-0",
                           "+0",
                           "1",
                           "-1",
                           "+1.5",
                           ".5",
                           "5.",
                           "-.25e+3",
                           "1e0",
                           "1E5",
                           "1e-5",
                           "0.1",
                           "0.3",
                           "3.4028234e38",
                           "3.4028235677973366e38",
                           "3.4028236e38",
                           "1e39",
                           "-1e39",
                           "1e-38",
                           "1.17549435e-38",
                           "1e-45",
                           "7e-46",
                           "1e-60",
                           "1e999999999999999999999",
                           "1e-999999999999999999999",
                           "0e999",
                           "16777217",
                           "16777219",
                           "33554435",
                           "0.500000029802322387695312",
                           "0.5000000298023223876953125",
                           "0.50000002980232238769531250000001",
                           "9007199254740993",
                           "18446744073709551615",
                           "18446744073709551616",
                           "9223372036854775807",
                           "9223372036854775808",
                           "123456789012345678901234567890",
                           "0.000000000000000000000000000001234567890123456789",
                           "0.08156099999999999",
                           "1.00000005960464477539062500",
                           "2.2250738585072014e-308",
                           "4.9e-324",
                           "1.7976931348623157e308"}) {
    expect_as_c_library(text);
  }
  expect_as_c_library(std::string(5000, '9'));
  expect_as_c_library("0." + std::string(5000, '0') + "1");
  expect_as_c_library("1." + std::string(5000, '3'));
}

TEST(Decimal, AgreesWithTheCLibraryOnRandomText) {
  std::mt19937_64 random(1);
  auto const below = [&](std::uint64_t n) { return random() % n; };
  for (int k = 0; k < 100000; ++k) {
    std::string text(below(2), '-');
    std::uint64_t const whole = below(12);
    std::uint64_t const fraction = below(12);
    for (std::uint64_t d = 0; d < whole; ++d) text += static_cast<char>('0' + below(10));
    if (fraction > 0 || below(2) == 0) text += '.';
    for (std::uint64_t d = 0; d < fraction; ++d) text += static_cast<char>('0' + below(10));
    if (whole + fraction == 0) text += '7';
    if (below(3) == 0) text.append("e").append(std::to_string(static_cast<int>(below(100)) - 50));
    expect_as_c_library(text);
  }
}

// The texts that a fast path gets wrong first: floats, and the midpoints between them, at various lengths.
TEST(Decimal, AgreesWithTheCLibraryNearMidpoints) {
  std::mt19937 random(2);
  char text[64];
  for (int k = 0; k < 20000; ++k) {
    std::uint32_t const bits = static_cast<std::uint32_t>(random()) & 0x7FFFFFFFU;
    float const low = std::bit_cast<float>(bits);
    float const high = std::bit_cast<float>(bits + 1);
    if (!std::isfinite(low) || !std::isfinite(high)) continue;
    double const middle = (static_cast<double>(low) + static_cast<double>(high)) / 2;
    for (int digits : {7, 9, 15, 16, 17, 19, 25}) {
      std::snprintf(text, sizeof text, "%.*g", digits, middle);
      expect_as_c_library(text);
      std::snprintf(text, sizeof text, "%.*g", digits, static_cast<double>(low));
      expect_as_c_library(text);
    }
  }
}

TEST(Decimal, ScansRunsOfDigits) {
  for (std::uint32_t length = 0; length <= 10; ++length) {
    for (char const* behind : {" ", "\n", "/", ":", ".", "\xB0", "\xFF", "a", "\x7F"}) {
      std::string const digits = std::string("9081726354").substr(0, length);
      DigitRun const run = scan_digits(padded(digits + behind).data());
      EXPECT_EQ(run.length, std::min(length, 8U)) << digits << behind;
      EXPECT_EQ(run.value, length == 0 ? 0U : std::stoul(digits.substr(0, 8))) << digits << behind;
    }
  }
}

TEST(Decimal, KnowsTheWordsForNaNAndInfinity) {
  float value = 0;
  for (char const* text :
       {"nan", "NaN", "-nan", "nan(ind)", "-nan(snan)", "1.#QNAN", "-1.#IND", "1.#QNAN0", "1.#SNAN"}) {
    std::string const bytes = padded(text);
    char const* const end = scan_float(bytes.data(), value);
    ASSERT_NE(end, nullptr) << text;
    EXPECT_EQ(*end, 0) << text;
    EXPECT_TRUE(std::isnan(value)) << text;
  }
  for (char const* text : {"inf", "Inf", "+INF", "infinity", "1.#INF", "1.#INF00"}) {
    std::string const bytes = padded(text);
    char const* const end = scan_float(bytes.data(), value);
    ASSERT_NE(end, nullptr) << text;
    EXPECT_EQ(*end, 0) << text;
    EXPECT_EQ(value, INFINITY) << text;
  }
  double wide = 0;
  ASSERT_NE(scan_double(padded("-inf").data(), wide), nullptr);
  EXPECT_EQ(wide, -INFINITY);
}

TEST(Decimal, RefusesWhatIsNoNumber) {
  float value = 0;
  double wide = 0;
  for (char const* text : {"", "-", "+", ".", "-.", "e5", "1e", "1e+", "x", "--1", "+-1", "1.#", "1.#FOO", "na", "i"}) {
    EXPECT_EQ(scan_float(padded(text).data(), value), nullptr) << text;
    EXPECT_EQ(scan_double(padded(text).data(), wide), nullptr) << text;
  }
  // Hexadecimal is "0" followed by something else.
  std::string const text = padded("0x10");
  EXPECT_EQ(scan_float(text.data(), value), text.data() + 1);
}

}  // namespace
}  // namespace mirel::text

#include "Quorb/CardFields.h"

#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <limits>
#include <random>
#include <string>

namespace quorb {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

TEST(ReadRealField, ReadsEveryFormOfTheCards) {
  const struct {
    const char* text;
    int implied;
    double want;
  } cases[] = {
      {"       12345", 4, 1.2345},
      {"12345       ", 4, 1.2345},
      {"  1 23  4 5 ", 4, 1.2345},
      {"-  12345", 4, -1.2345},
      {"+12345", 4, 1.2345},
      {"5", 4, 0.0005},
      {"12345", 0, 12345.0},
      {"15E1", 4, 0.015},
      {"1.2345E3", 4, 1234.5},
      {"  -1876.2210", 4, -1876.221},
      {"5.", 4, 5.0},
      {"-.5", 4, -0.5},
      {"1 . 5", 4, 1.5},
      {"0.1234-3", 0, 0.0001234},
      {"1.5+3", 0, 1500.0},
      {"1.5D2", 0, 150.0},
      {"1.5d-2", 0, 0.015},
      {"-2.5e+02", 0, -250.0},
      {"1 E 2", 0, 100.0},
      {"1.2345E-09", 0, 1.2345e-9},
      {"1E0000000000000000", 0, 1.0},
      {"000000000000000000000000000", 4, 0.0},
      {"-0.0E999", 0, 0.0},
      {"            ", 4, 0.0},
      {"", 0, 0.0},
  };
  for (const auto& c : cases) {
    double value = kNaN;
    EXPECT_TRUE(ReadRealField(c.text, c.implied, value)) << "'" << c.text << "'";
    EXPECT_EQ(value, c.want) << "'" << c.text << "'";
  }
}

TEST(ReadRealField, AnythingElseFails) {
  for (const char* text : {"1.2.3", "1,5",   "abc",  "+",   "-",    ".",     "-.",      "1E",
                           "1E+",   "1-",    "--1",  "+-1", "1e5x", "E5",    "1.5E3.0", "1.5-3-2",
                           "\t1",   "1e5e5", "0x10", "inf", "nan",  "1E400", "1.5E-400"}) {
    double value = 0.0;
    EXPECT_FALSE(ReadRealField(text, 4, value)) << "'" << text << "'";
  }
}

// Short and long mantissas, with and without exponents, read to the double
// nearest the decimal text.
TEST(ReadRealField, ReadsTheNearestDouble) {
  std::mt19937_64 rng(5);
  std::uniform_int_distribution<int> digit(0, 9);
  std::uniform_int_distribution<int> length(1, 30);
  std::uniform_int_distribution<int> exponent(-330, 310);
  for (int i = 0; i < 100000; ++i) {
    std::string text;
    for (int n = i % 2 ? length(rng) % 13 + 1 : length(rng); n > 0; --n)
      text += static_cast<char>('0' + digit(rng));
    text.insert(static_cast<std::size_t>(digit(rng)) % (text.size() + 1), 1, '.');
    if (i % 4 == 0) text.append("e").append(std::to_string(exponent(rng)));
    if (i % 4 == 1) text.append("e").append(std::to_string(exponent(rng) % 25));
    double want = 0.0;
    const bool inRange =
        std::from_chars(text.data(), text.data() + text.size(), want).ec == std::errc{};
    double got = 0.0;
    ASSERT_EQ(ReadRealField(text, 4, got), inRange) << text;
    if (inRange) {
      ASSERT_EQ(got, want) << text;
    }
  }
}

TEST(ReadIntField, SignAndDigitsOnly) {
  const struct {
    const char* text;
    bool ok;
    int32_t want;
  } cases[] = {
      {"1234567", true, 1234567},
      {" - 1 2", true, -12},
      {"   +5", true, 5},
      {"     ", true, 0},
      {"2147483647", true, 2147483647},
      {"-2147483648", true, -2147483647 - 1},
      {"2147483648", false, 0},
      {"-2147483649", false, 0},
      {"99999999999999999999", false, 0},
      {"1.0", false, 0},
      {"1e3", false, 0},
      {"+-1", false, 0},
      {"-", false, 0},
      {"12a", false, 0},
      {"1-2", false, 0},
  };
  for (const auto& c : cases) {
    int32_t value = 0;
    EXPECT_EQ(ReadIntField(c.text, value), c.ok) << "'" << c.text << "'";
    if (c.ok) {
      EXPECT_EQ(value, c.want) << "'" << c.text << "'";
    }
  }
}

std::string WriteFixed(double value, int width, int decimals) {
  std::string out(width, '?');
  WriteFixedField(out, value, decimals);
  return out;
}

TEST(WriteFixedField, RightAlignedOrAsterisks) {
  EXPECT_EQ(WriteFixed(6524.8346, 12, 4), "   6524.8346");
  EXPECT_EQ(WriteFixed(-3456.1234, 13, 4), "   -3456.1234");
  EXPECT_EQ(WriteFixed(0.5, 12, 4), "      0.5000");
  EXPECT_EQ(WriteFixed(1.23456, 12, 4), "      1.2346");
  EXPECT_EQ(WriteFixed(-999999.9999, 12, 4), "-999999.9999");
  // The zero before the point goes only when that makes the value fit.
  EXPECT_EQ(WriteFixed(0.5, 5, 4), ".5000");
  EXPECT_EQ(WriteFixed(-0.5, 6, 4), "-.5000");
  EXPECT_EQ(WriteFixed(-0.5, 5, 4), "*****");
  EXPECT_EQ(WriteFixed(1.0e9, 12, 4), "************");
  EXPECT_EQ(WriteFixed(9999999.99996, 12, 4), "************");  // rounds up past the width
  EXPECT_EQ(WriteFixed(1.0e300, 13, 4), "*************");
  EXPECT_EQ(WriteFixed(kNaN, 12, 4), "************");
  EXPECT_EQ(WriteFixed(-kInf, 13, 4), "*************");
}

// The text rounds exactly as to_chars does: to nearest, exact halves to even.
TEST(WriteFixedField, RoundsLikeToChars) {
  std::mt19937_64 rng(99);
  std::uniform_real_distribution<double> unit(-0.5, 0.5);
  std::uniform_int_distribution<int> power(-8, 11);
  std::uniform_int_distribution<int64_t> whole(-9999999, 9999999);
  std::uniform_int_distribution<int> odd32(0, 15);
  for (int i = 0; i < 200000; ++i) {
    double value = unit(rng) * std::pow(10.0, power(rng));
    if (i % 3 == 0) value = whole(rng) + (2 * odd32(rng) + 1) / 32.0;  // exact halves
    if (i % 3 == 1) value = std::nextafter(value, i % 2 ? kInf : -kInf);
    const int decimals = i % 10 == 0 ? 9 : 4;
    char want[400];
    const auto end =
        std::to_chars(want, want + sizeof want, value, std::chars_format::fixed, decimals);
    const std::string wantText(want, end.ptr);
    ASSERT_EQ(WriteFixed(value, static_cast<int>(wantText.size()), decimals), wantText)
        << std::hexfloat << value;
  }
}

// What to_chars writes, right-aligned in width columns; the zero before the
// point goes when only that makes the text fit.
std::string ToCharsFixed(double value, int width, int decimals) {
  char buf[400];
  std::string text(
      buf, std::to_chars(buf, buf + sizeof buf, value, std::chars_format::fixed, decimals).ptr);
  const std::size_t zero = text[0] == '-' ? 1 : 0;
  if (static_cast<int>(text.size()) == width + 1 && text.compare(zero, 2, "0.") == 0) {
    text.erase(zero, 1);
  }
  if (static_cast<int>(text.size()) > width) return std::string(width, '*');
  std::string out(width - text.size(), ' ');
  return out.append(text);
}

// Narrower, exact and wider columns for each text: whole values, values that
// round to zero or up into another digit, counts of units either side of
// 2^32, and values too large for a whole count of units in a double.
TEST(WriteFixedField, EveryWidthAroundTheText) {
  const double values[] = {0.0,     -0.0,      -0.00004,   0.00005,     0.5,         -0.5,
                           0.99995, -0.999951, 9999.99995, -9999.99995, 123.456,     1.0e9,
                           -1.0e20, 4.5e11,    2.5e-22,    429496.7295, -429496.7296};
  for (const double value : values) {
    for (const int decimals : {0, 1, 4, 9, 15, 22}) {
      for (int width = 1; width <= 60; ++width) {
        ASSERT_EQ(WriteFixed(value, width, decimals), ToCharsFixed(value, width, decimals))
            << value << " with " << decimals << " decimals in " << width << " columns";
      }
    }
  }
}

TEST(WriteIntField, RightAlignedOrAsterisks) {
  const auto write = [](int64_t value, int width) {
    std::string out(width, '?');
    WriteIntField(out, value);
    return out;
  };
  EXPECT_EQ(write(12345, 6), " 12345");
  EXPECT_EQ(write(-12345, 6), "-12345");
  EXPECT_EQ(write(0, 4), "   0");
  EXPECT_EQ(write(1234567, 6), "******");
  EXPECT_EQ(write(-123456, 6), "******");
  EXPECT_EQ(write(std::numeric_limits<int64_t>::min(), 4), "****");
  EXPECT_EQ(write(std::numeric_limits<int64_t>::min(), 21), " -9223372036854775808");
  EXPECT_EQ(write(std::numeric_limits<int64_t>::min(), 20), "-9223372036854775808");
  EXPECT_EQ(write(std::numeric_limits<int64_t>::min(), 19), "*******************");
  EXPECT_EQ(write(std::numeric_limits<int64_t>::max(), 19), "9223372036854775807");
  // A text exactly as wide as its columns, and one column wider.
  for (int64_t power = 1;; power *= 10) {
    for (const int64_t value : {power, power - 1, -power, 1 - power}) {
      const std::string text = std::to_string(value);
      const int width = static_cast<int>(text.size());
      EXPECT_EQ(write(value, width), text);
      EXPECT_EQ(write(value, width - 1), std::string(width - 1, '*'));
    }
    if (power > std::numeric_limits<int64_t>::max() / 10) break;
  }
}

// Random texts over the characters a numeric field may hold, and one it may
// not: blanks put anywhere never change what is read.
TEST(CardFieldsFuzz, BlanksAnywhereNeverChangeTheResult) {
  std::mt19937 rng(42);
  const std::string alphabet = "0123456789+-.eEdDx";
  std::uniform_int_distribution<std::size_t> pick(0, alphabet.size() - 1);
  std::uniform_int_distribution<int> length(0, 12);
  std::bernoulli_distribution blank(0.3);
  int accepted = 0;
  for (int i = 0; i < 100000; ++i) {
    std::string dense, spaced;
    for (int n = length(rng); n > 0; --n) dense += alphabet[pick(rng)];
    for (const char c : dense) {
      while (blank(rng)) spaced += ' ';
      spaced += c;
    }
    double denseReal = 0.0, spacedReal = 0.0;
    const bool realOk = ReadRealField(dense, 4, denseReal);
    ASSERT_EQ(ReadRealField(spaced, 4, spacedReal), realOk) << "'" << spaced << "'";
    if (realOk) {
      ++accepted;
      EXPECT_EQ(dense.find('x'), std::string::npos) << dense;
      EXPECT_EQ(denseReal, spacedReal) << dense;
    }
    int32_t denseInt = 0, spacedInt = 0;
    const bool intOk = ReadIntField(dense, denseInt);
    ASSERT_EQ(ReadIntField(spaced, spacedInt), intOk) << "'" << spaced << "'";
    if (intOk) {
      EXPECT_EQ(denseInt, spacedInt) << dense;
    }
  }
  EXPECT_GT(accepted, 1000) << "the generator should reach the accepting paths";
}

TEST(CardFieldsFuzz, ArbitraryBytesAndLongFieldsAreSafe) {
  std::mt19937 rng(7);
  std::uniform_int_distribution<int> byte(0, 255);
  std::uniform_int_distribution<int> length(0, 600);
  double real = 0.0;
  int32_t integer = 0;
  for (int i = 0; i < 20000; ++i) {
    std::string text(length(rng), ' ');
    for (char& c : text) c = static_cast<char>(byte(rng));
    if (ReadRealField(text, i % 5, real)) {
      EXPECT_TRUE(std::isfinite(real)) << text;
    }
    ReadIntField(text, integer);
  }
  EXPECT_FALSE(ReadRealField(std::string(512, '9'), 4, real));
  EXPECT_FALSE(ReadIntField(std::string(512, '9'), integer));
  EXPECT_TRUE(ReadIntField(std::string(500, ' ') + "12", integer));
  EXPECT_EQ(integer, 12);
}

}  // namespace
}  // namespace quorb

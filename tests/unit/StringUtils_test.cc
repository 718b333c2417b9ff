#include "Services/StringUtils.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <charconv>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

namespace quorb {
namespace {

using namespace std::string_literals;

std::string Str(std::span<const char> text) {
  return {text.begin(), text.end()};
}

std::string Ax(double value, std::size_t width = 10) {
  std::string out(width, '?');
  Fx0ToAx(value, out);
  return out;
}

std::string RandomText(std::mt19937& random, const std::string& alphabet) {
  std::string text(random() % 40, ' ');
  for (char& c : text) c = alphabet[random() % alphabet.size()];
  return text;
}

TEST(StringUtils, HostArraysEndAtTheFirstZeroByte) {
  EXPECT_EQ(Str(CharArrToStr<8>("98067A\0Z")), "98067A  ");
  char out[6] = {'#', '#', '#', '#', '#', '#'};
  StrToCharArr(out, "abcdefgh", 5);
  EXPECT_EQ(Str(out), "abcde#");
  StrToCharArr(out, "abc", 5);
  EXPECT_EQ(Str(out), "abc  #");
}

TEST(StringUtils, NumbersAfterTheKeySeparators) {
  EXPECT_EQ(StrToInt(" = 25544 rest"), 25544);
  EXPECT_EQ(StrToInt(":,=-3.99E0"), -3);
  EXPECT_EQ(StrToInt("-2147483648.5"), INT32_MIN);
  EXPECT_EQ(StrToInt("2147483648"), kMissingInt);
  EXPECT_EQ(StrToReal("= +1.5D-3"), 1.5e-3);
  EXPECT_EQ(StrToReal("7.E1x"), 70.0);
  EXPECT_EQ(StrToReal(".5e+"), 0.5);  // an exponent letter without digits ends the number
  EXPECT_EQ(StrToReal("-1e999"), -HUGE_VAL);
  EXPECT_EQ(StrToReal("0.0000001e-400"), 0.0);
  EXPECT_EQ(StrToReal("0." + std::string(400, '0') + "1e402"), 10.0);
  for (const char* none : {"", "   ", "-", "+.", ".e5", "= - 5", "nan", "inf"}) {
    EXPECT_EQ(StrToInt(none), kMissingInt) << none;
    EXPECT_EQ(StrToReal(none), kMissingReal) << none;
  }
}

TEST(StringUtils, NumberReadersOnRandomAndTruncatedTexts) {
  std::mt19937 random(17);
  for (int i = 0; i < 100'000; ++i) {
    const std::string text = RandomText(random, " =:,+-.0123456789eEdDx\0\xff"s);
    const double real = StrToReal(text);
    if (real != kMissingReal && std::abs(real) < 2147483648.0) {
      ASSERT_EQ(StrToInt(text), static_cast<int32_t>(real)) << text;
    }
  }
  std::mt19937_64 bits(17);
  for (int i = 0; i < 20'000; ++i) {
    const uint64_t raw = bits();
    double value;
    std::memcpy(&value, &raw, sizeof value);
    if (!std::isfinite(value)) continue;
    char buf[64];
    std::string text(buf, std::to_chars(buf, buf + sizeof buf, value).ptr);
    if (const auto e = text.find('e'); e != std::string::npos) text[e] = "EdD"[i % 3];
    ASSERT_EQ(StrToReal(", " + text + " ,"), value) << text;
    for (std::size_t cut = 0; cut < text.size(); ++cut) StrToReal(text.substr(0, cut));
  }
}

TEST(StringUtils, InputStrAndFileNames) {
  Text<12> out;
  GetInputStr(out, " = 98067A   ");
  EXPECT_EQ(Str(out), "98067A      ");
  GetInputStr(out, ":,ECI  J2K and more");
  EXPECT_EQ(Str(out), "ECI  J2K and");
  const auto name = [](std::string_view line, std::string_view naming = {}) {
    return std::string(TrimRight(View(GetInputFileName(line, naming))));
  };
  EXPECT_EQ(name("VECFIL = data/vec.txt   "), "data/vec.txt");
  EXPECT_EQ(name("VECFIL  \"my vectors.txt\"  "), "my vectors.txt");
  EXPECT_EQ(name("  ELTFIL=\"a\"b\""), "a\"b");
  EXPECT_EQ(name("VECFIL vec.txt = other"), "other");  // the first '=' rules
  EXPECT_EQ(name("VECFIL"), "");

  const auto dir =
      std::filesystem::path(testing::TempDir()) / ("naming" + std::to_string(getpid()));
  std::filesystem::create_directories(dir);
  std::ofstream(dir / "nested.txt") << "x\n";
  const std::string naming = (dir / "top.txt").string() + "   ";
  EXPECT_EQ(name("VECFIL = nested.txt", naming), (dir / "nested.txt").string());
  EXPECT_EQ(name("VECFIL = absent.txt", naming), "absent.txt");
  EXPECT_EQ(name("VECFIL = /abs/nested.txt", naming), "/abs/nested.txt");
  std::filesystem::remove_all(dir);

  std::mt19937 random(23);
  for (int i = 0; i < 20'000; ++i) {
    const std::string line = RandomText(random, " =\"/abc\0\xff"s);
    GetInputStr(out, line);
    EXPECT_LE(Trim(View(GetInputFileName(line, line))).size(), line.size());
  }
}

TEST(StringUtils, RealsOnTenColumns) {
  EXPECT_EQ(Ax(0.012) + Ax(0.02) + Ax(0.0), "     0.012      0.02       0.0");
  EXPECT_EQ(Ax(12345.0) + Ax(1.2345e20), "   12345.01.2345E+20");
  EXPECT_EQ(Ax(-1.2346e20) + Ax(-1.5e-7), "-1.235E+20  -1.5E-07");
  EXPECT_EQ(Ax(9.99999e99) + Ax(123456789.7), "  1.0E+100123456790.");
  EXPECT_EQ(Ax(0.000123456789), "0.00012346");  // ties with 1.2346E-04: fixed wins
  EXPECT_EQ(Ax(123456.123456789) + Ax(1234567.00000001), "123456.123 1234567.0");
  EXPECT_EQ(Ax(std::nan("")) + Ax(-HUGE_VAL), std::string(20, '*'));
  std::mt19937_64 random(29);
  for (int i = 0; i < 100'000; ++i) {
    // A fixed-point text of up to 7 significant digits within 10 columns reads back exactly.
    std::string digits(1 + random() % 7, '0');
    for (char& c : digits) c = static_cast<char>('0' + random() % 10);
    const std::size_t point = random() % (digits.size() + 1);
    std::string text(random() % 2 ? "-" : "");
    text.append(point > 0 ? digits.substr(0, point) : "0")
        .append(".")
        .append(point > 0 ? 0 : random() % 3, '0')
        .append(digits.substr(point));
    double value;
    std::from_chars(text.data(), text.data() + text.size(), value);
    ASSERT_TRUE(text.size() > 10 || StrToReal(Ax(value)) == value) << text << " -> " << Ax(value);
    // Any magnitude keeps at least 4 significant digits.
    value =
        std::ldexp(static_cast<double>(random() >> 11), static_cast<int>(random() % 1800) - 1100);
    ASSERT_NEAR(StrToReal(Ax(value)), value, value * 5e-4) << Ax(value);
  }
}

// A value that a few decimals hold exactly is written in its shortest exact
// form, the one to_chars gives, in any columns wide enough for it.
TEST(StringUtils, ShortDecimalsKeepTheirShortestForm) {
  std::mt19937_64 random(31);
  int written = 0;
  for (int i = 0; i < 100'000; ++i) {
    std::string decimal(random() % 2 ? "-" : "");
    decimal.append(std::to_string(random() % 10'000'000'000))
        .append("e-")
        .append(std::to_string(random() % 12));
    double value;
    std::from_chars(decimal.data(), decimal.data() + decimal.size(), value);
    if (i % 4 == 0) value = std::nextafter(value, random() % 2 ? -HUGE_VAL : HUGE_VAL);
    char buf[400];
    std::string shortest(buf,
                         std::to_chars(buf, buf + sizeof buf, value, std::chars_format::fixed).ptr);
    if (shortest.find('.') == std::string::npos) shortest += ".0";
    for (std::size_t width = shortest.size(); width <= std::max<std::size_t>(shortest.size(), 13);
         ++width) {
      std::string want(width - shortest.size(), ' ');
      ASSERT_EQ(Ax(value, width), want.append(shortest)) << decimal;
      ++written;
    }
  }
  EXPECT_GT(written, 100'000);
  EXPECT_EQ(Ax(-0.0) + Ax(99999999.0) + Ax(1e-8), "      -0.099999999.00.00000001");
  EXPECT_EQ(Ax(-99999999.0) + Ax(-1e-8) + Ax(0.1 + 0.2), "-99999999.  -1.0E-08       0.3");
  // Columns that hold the digits but not the sign as well.
  EXPECT_EQ(Ax(-123.5, 5) + Ax(-12345678.0) + Ax(-0.5, 3), "-124.-12345678.-0.");
}

}  // namespace
}  // namespace quorb

namespace quorb {
namespace {

// Rounding the largest doubles to ten columns must not leave the range.
TEST(StringUtils, TermsNearTheLargestDoubleStayReadable) {
  for (double value : {1.7976931348623157e308, -1.7976931348623157e308, 1.79769e308}) {
    Text<10> text;
    Fx0ToAx(value, text);
    const double back = StrToReal(View(text));
    EXPECT_TRUE(std::isfinite(back)) << View(text);
    EXPECT_NEAR(back / value, 1.0, 1e-2) << View(text);
  }
}

}  // namespace
}  // namespace quorb

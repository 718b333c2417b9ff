// The small services under the store: Alpha-5 numbers, host strings and the
// text readers, ten-column reals, line buffers and message texts, sorting,
// the trace log, block pools, large mappings and direct-address keys.

#include "Quorb/BlockPool.h"
#include "Quorb/LargeMappings.h"
#include "Services/Alpha5.h"
#include "Services/DmaKeys.h"
#include "Services/MessageText.h"
#include "Services/StringUtils.h"
#include "Services/TraceLog.h"
#include "support/StoreTest.h"

namespace quorb {
namespace {

std::string Str(std::span<const char> text) {
  return {text.begin(), text.end()};
}

TEST(Alpha5, NumbersAndTheirTexts) {
  for (int32_t num = 0; num <= 339999; ++num) ASSERT_EQ(Alpha5ToNum(View(NumToAlpha5(num))), num);
  EXPECT_EQ(Str(NumToAlpha5(179999)) + Str(NumToAlpha5(230000)) + Str(NumToAlpha5(340000)),
            "H9999P0000*****");  // no I, no O
  for (const char* bad : {"I0000", "O1234", "a0000", "@0000", " A123", "12 34", "-1234"}) {
    EXPECT_EQ(Alpha5ToNum(bad), -1) << bad;
  }
  EXPECT_EQ(Alpha5ToNum("     ") + Alpha5ToNum("") + Alpha5ToNum("  123"), 123);
}

TEST(StringUtils, HostArraysAndNumbersAfterTheKeySeparators) {
  EXPECT_EQ(Str(CharArrToStr<8>("98067A\0Z")) + Str(CharArrToStr<3>(nullptr)), "98067A     ");
  const struct {
    std::string text;
    int32_t integer;
    double real;
  } cases[] = {{" = 25544 rest", 25544, 25544.0},
               {":,=-3.99E0", -3, -3.99},
               {"-2147483648.5", INT32_MIN, -2147483648.5},
               {"2147483647.9", INT32_MAX, 2147483647.9},
               {"2147483648", kMissingInt, 2147483648.0},
               {"-2147483649", kMissingInt, -2147483649.0},
               {"= +1.5D-3", 0, 1.5e-3},
               {".5e+", 0, 0.5},  // an exponent letter without digits ends the number
               {"-1e999", kMissingInt, -HUGE_VAL},
               {"0.0000001e-400", 0, 0.0},
               {"0." + std::string(400, '0') + "1e402", 10, 10.0},
               {"= - 5", kMissingInt, kMissingReal},
               {".e5", kMissingInt, kMissingReal}};
  for (const auto& c : cases) {
    EXPECT_EQ(StrToInt(c.text), c.integer) << c.text;
    EXPECT_EQ(StrToReal(c.text), c.real) << c.text;
  }
  // Every double's shortest text, with any exponent letter, reads back.
  std::mt19937_64 bits(17);
  for (int i = 0; i < 20'000; ++i) {
    const double value = std::ldexp(static_cast<double>(bits() >> 11), int(bits() % 1900) - 1000);
    char buf[64];
    std::string text(buf, std::to_chars(buf, buf + sizeof buf, value).ptr);
    if (const auto e = text.find('e'); e != std::string::npos) text[e] = "EdD"[i % 3];
    ASSERT_EQ(StrToReal(", " + text + " ,"), value) << text;
  }
}

std::string Ax(double value, std::size_t width = 10) {
  std::string out(width, '?');
  Fx0ToAx(value, out);
  return out;
}

// Ten columns keep the most significant digits, fixed point on a tie; a
// short decimal keeps its shortest exact form in any columns it fits.
TEST(StringUtils, RealsOnTenColumns) {
  EXPECT_EQ(Ax(0.012) + Ax(-0.0) + Ax(12345.0), "     0.012      -0.0   12345.0");
  EXPECT_EQ(Ax(1.2345e20) + Ax(-1.2346e20) + Ax(-1.5e-7), "1.2345E+20-1.235E+20  -1.5E-07");
  EXPECT_EQ(Ax(9.99999e99) + Ax(123456789.7) + Ax(-1e-8), "  1.0E+100123456790.  -1.0E-08");
  EXPECT_EQ(Ax(0.000123456789) + Ax(1e-8) + Ax(-99999999.0), "0.000123460.00000001-99999999.");
  EXPECT_EQ(Ax(123456.123456789) + Ax(1234567.00000001) + Ax(std::nan("")),
            "123456.123 1234567.0**********");
  EXPECT_EQ(Ax(-123.5, 5) + Ax(-0.5, 3) + Ax(123.0, 2), "-124.-0.**");
  EXPECT_NEAR(StrToReal(Ax(-1.7976931348623157e308)), -1.7976931348623157e308, 1e306);
  std::mt19937_64 random(31);
  for (int i = 0; i < 100'000; ++i) {
    std::string decimal(random() % 2 ? "-" : "");
    decimal += std::to_string(random() % 10'000'000'000) + "e-" + std::to_string(random() % 12);
    double value;
    std::from_chars(decimal.data(), decimal.data() + decimal.size(), value);
    if (i % 4 == 0) value = std::nextafter(value, random() % 2 ? -HUGE_VAL : HUGE_VAL);
    char buf[400];
    std::string shortest(buf,
                         std::to_chars(buf, buf + sizeof buf, value, std::chars_format::fixed).ptr);
    if (shortest.find('.') == std::string::npos) shortest += ".0";
    for (std::size_t width = shortest.size(); width <= 13; ++width) {
      ASSERT_EQ(Ax(value, width), std::string(width - shortest.size(), ' ') + shortest) << decimal;
    }
    value = std::ldexp(static_cast<double>(random() >> 11), int(random() % 1800) - 1100);
    ASSERT_NEAR(StrToReal(Ax(value)), value, value * 5e-4) << Ax(value);
  }
}

// Copies and fills of every length up to past two pieces touch exactly
// their characters; a line buffer holds only its last text; a message text
// cuts what passes its end.
TEST(FixedText, CopiesFillsLinesAndMessagesTouchOnlyTheirCharacters) {
  const std::string guard(8, '#');
  std::string letters;
  for (int i = 0; i < 600; ++i) letters += static_cast<char>('a' + i % 26);
  for (std::size_t n = 0; n <= 80; ++n) {
    std::string copied = guard + std::string(n, '.') + guard;
    CopyChars(letters.data(), n, copied.data() + guard.size());
    EXPECT_EQ(copied, guard + letters.substr(0, n) + guard) << n;
    std::string filled = guard + std::string(n, '.') + guard;
    FillBlanks(filled.data() + guard.size(), n);
    EXPECT_EQ(filled, guard + std::string(n, ' ') + guard) << n;
  }
  LineBuffer buffer;
  for (const std::size_t n : {80, 31, 0, 600, 7, 512}) {
    buffer.Assign(std::string_view(letters).substr(0, n));
    const std::string held = letters.substr(0, std::min<std::size_t>(n, kLineLength));
    EXPECT_EQ(Str(buffer.line()), held + std::string(kLineLength - held.size(), ' ')) << n;
  }
  struct {
    MessageText message;
    std::array<char, 256> after;
  } guarded{};  // after holds zeros
  guarded.message.Add(letters.substr(0, 100)).Add(letters.substr(100));
  EXPECT_EQ(guarded.message.View(), letters.substr(0, MessageText::kLength));
  EXPECT_EQ(Str(guarded.after), std::string(guarded.after.size(), '\0'));
}

TEST(TraceLog, LinesGoTrimmedToFileSinkAndSlots) {
  static std::vector<std::string> sunk;  // "level:text" of each line the sink received
  const std::string path = ::testing::TempDir() + "trace" + std::to_string(getpid());
  std::remove(path.c_str());
  ASSERT_EQ(TraceLogOpen(path.c_str()), 0);
  TraceLogSetSink(
      [](int32_t level, const char* msg, int32_t len, void*) {
        sunk.push_back(std::to_string(level) + ":" + std::string(msg, len));
        TraceLogError("caused by the sink");  // never handed back to it
      },
      nullptr);
  TraceLogError(std::string(128, ' ').replace(0, 11, "Lines2Quorb"));
  TraceLogInfo("two\nparts\r ");
  TraceLogClose();
  TraceLogInfo("after close");
  ASSERT_EQ(TraceLogOpen(path.c_str()), 0);  // appends
  TraceLogSetSink(nullptr, nullptr);
  TraceLogError("0123456789");
  TraceLogClose();
  EXPECT_EQ(test::ReadFileText(path),
            "Lines2Quorb\ncaused by the sink\ntwo parts\ncaused by the sink\n0123456789\n");
  EXPECT_EQ(sunk, (std::vector<std::string>{"1:Lines2Quorb", "0:two parts", "0:after close"}));
  char buf[4];
  EXPECT_EQ(TraceLogLastError(buf, sizeof buf), 10);  // cut to the buffer, full length told
  EXPECT_STREQ(buf, "012");
  EXPECT_EQ(TraceLogLastInfo(nullptr, 0), 11);
  std::remove(path.c_str());
}

// Blocks enough for several slabs: distinct, apart, reused once freed; the
// slabs go back to the system only when no block is in use.
TEST(BlockPool, BlocksAreDistinctReusedAndGivenBack) {
  constexpr std::size_t kBlockSize = 176;
  BlockPool pool(kBlockSize);
  std::vector<char*> blocks;
  for (int i = 0; i < 40000; ++i) {
    blocks.push_back(static_cast<char*>(pool.Alloc()));
    std::memset(blocks.back(), i & 0xff, kBlockSize);
  }
  std::sort(blocks.begin(), blocks.end());
  for (std::size_t i = 1; i < blocks.size(); ++i) {
    ASSERT_GE(blocks[i] - blocks[i - 1], static_cast<std::ptrdiff_t>(kBlockSize));
    ASSERT_EQ(blocks[i - 1][kBlockSize - 1], blocks[i - 1][0]);
  }
  pool.Free(blocks[7]);
  EXPECT_EQ(pool.Alloc(), blocks[7]);
  for (char* block : blocks) pool.Free(block == blocks[0] ? nullptr : block);
  pool.ReleaseIfUnused();  // one block is still in use: nothing goes
  std::memset(blocks[0], 0x5a, kBlockSize);
  pool.Free(blocks[0]);
  pool.ReleaseIfUnused();
  unsigned char resident = 0;
  const auto page = reinterpret_cast<std::uintptr_t>(blocks[0]) / 4096 * 4096;
  EXPECT_EQ(mincore(reinterpret_cast<void*>(page), 1, &resident), -1);  // unmapped
  // The pages the next blocks will take are readied on request, ahead of them.
  BlockPool ahead(kBlockSize);
  const auto* next = static_cast<const char*>(ahead.Alloc()) + kBlockSize;
  constexpr std::size_t kLead = std::size_t{64} << 10;
  const auto readied = [&] {
    const auto last = reinterpret_cast<std::uintptr_t>(next + kLead - 1) / 4096 * 4096;
    return mincore(reinterpret_cast<void*>(last), 1, &resident) == 0 && (resident & 1) != 0;
  };
  EXPECT_FALSE(readied());
  ahead.Prefault(kLead);
  EXPECT_TRUE(readied());
  // Large mappings start on a huge page and keep nothing of the rest reserved.
  constexpr std::size_t kHugePage = std::size_t{2} << 20;
  char* large = static_cast<char*>(MapLarge(2 * kHugePage));
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(large) % kHugePage, 0u);
  EXPECT_EQ(mincore(large + 2 * kHugePage, 1, &resident), -1);
  UnmapLarge(large, 2 * kHugePage);
}

TEST(DmaKeys, KindsNextKeysAndHolders) {
  constexpr int64_t kComposed = int64_t{1} << 62;
  EXPECT_TRUE(IsDMA(INT64_MIN) && IsDMA(0) && IsDMA(kComposed - 1) && !IsDMA(kComposed));
  EXPECT_EQ(NextSatKey(kComposed + 5), kComposed + 6);
  for (const int64_t key : {INT64_MAX, INT64_MIN, int64_t{-1}, int64_t{0}, kComposed - 2}) {
    EXPECT_EQ(NextSatKey(key), kComposed) << key;  // never a DMA key, -1 or 0
  }
  DmaHolder* holder = AllocDmaHolder();
  const int64_t key = static_cast<int64_t>(reinterpret_cast<std::uintptr_t>(holder)) * 10;
  EXPECT_EQ(KeyToCPtr(key), holder);
  for (const int64_t wrong : {key + 1, key - 1, key + 10, key + 470, -key, INT64_MAX - 7}) {
    EXPECT_EQ(KeyToCPtr(wrong), nullptr) << wrong;
  }
  // A freed holder's self is cleared at once. It comes back, all zeros, only
  // after the slab's unused holders and more than 1024 freed after it.
  *holder = {key / 10, 4, 1, nullptr, 9, 1, holder, holder};
  FreeDmaHolder(holder);
  EXPECT_EQ(HolderSelf(*holder), 0);
  std::set<DmaHolder*> before;
  DmaHolder* again = nullptr;
  while ((again = AllocDmaHolder()) != holder && before.size() < (1u << 22)) {
    before.insert(again);
    FreeDmaHolder(again);
  }
  ASSERT_EQ(again, holder);
  EXPECT_GT(before.size(), 1024u);
  const char zeros[sizeof(DmaHolder)] = {};
  EXPECT_EQ(std::memcmp(again, zeros, sizeof(DmaHolder)), 0);
  FreeDmaHolder(again);
}

}  // namespace
}  // namespace quorb

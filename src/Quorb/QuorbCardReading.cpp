#include "Quorb/QuorbCardReading.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <initializer_list>
#include <span>

#include "Quorb/CardFields.h"
#include "Services/Alpha5.h"
#include "Services/Calendar.h"
#include "Services/CharClasses.h"
#include "Services/StringUtils.h"
#include "Services/TraceLog.h"
#include "quorb/quorb_services.h"

namespace quorb {

namespace {

// One field of a card: first column (1-based) and width.
struct Columns {
  std::size_t first;
  std::size_t width;
};

constexpr std::array<Columns, 3> k1PPos = {{{1, 12}, {13, 12}, {25, 12}}};
constexpr std::array<Columns, 3> k1PVel = {{{37, 13}, {50, 13}, {63, 13}}};
constexpr std::size_t k1PSecClassCol = 77;
// Written with 4 decimals; read with 4 implied decimals when no point shows.
constexpr int k1PDecimals = 4;

constexpr Columns k2PSatNum = {1, 5};
constexpr Columns k2PIntlDesig = {7, 8};
constexpr Columns k2PEpoch = {15, 17};
// revNum and elsetNum are read one column wider than they are written: the
// blank written before each belongs to the field when read.
constexpr Columns k2PRevNumRead = {32, 7};
constexpr Columns k2PRevNumWrite = {33, 6};
constexpr Columns k2PElsetNumRead = {39, 5};
constexpr Columns k2PElsetNumWrite = {40, 4};
constexpr std::array<Columns, 3> k2PReals = {{{44, 10}, {54, 10}, {64, 10}}};
constexpr Columns k2PCoordSys = {74, 5};
constexpr int k2PImpliedDecimals = 0;

constexpr Columns k1PTag = {78, 3};
constexpr std::string_view k1PTagText = "B1P";
constexpr Columns k2PTag = {79, 2};
constexpr std::string_view k2PTagText = "2P";

std::string_view Field(const Line& line, Columns c) {
  return {line.data() + c.first - 1, c.width};
}
std::span<char> Field(Line& line, Columns c) {
  return {line.data() + c.first - 1, c.width};
}

void Put(Line& line, Columns c, std::string_view text) {
  std::copy_n(text.data(), std::min(text.size(), c.width), line.data() + c.first - 1);
}

template <std::size_t N>
void GetText(const Line& line, Columns c, Text<N>& text) {
  std::copy_n(line.data() + c.first - 1, N, text.data());
}

using CardTag = std::array<char, k1PTag.width>;

// Columns 78-80 of a line, where the card tests look; columns past the end
// of the line read as blanks.
CardTag CardTagOf(std::string_view line) {
  CardTag tag;
  for (std::size_t i = 0; i < tag.size(); ++i) {
    const std::size_t at = k1PTag.first - 1 + i;
    tag[i] = at < line.size() ? line[at] : ' ';
  }
  return tag;
}

// The code of the card tests, which run before any keyword test; 0 when
// neither holds.
int32_t CardTagType(const CardTag& tag) {
  const std::string_view text(tag.data(), tag.size());
  if (text == k1PTagText) return kCard1P;
  if (text.substr(k2PTag.first - k1PTag.first) == k2PTagText) return kCard2P;
  return 0;
}

struct Keyword {
  std::string_view word;
  int32_t code;
};

// In the order they are tested.
constexpr std::array<Keyword, 10> kKeywords = {{
    {"POS_VEL_ECI_STATE", kCardZyrVecData},
    {"RUN_OPTION_DC_ONLY", kCardZyrCtrlData},
    {"VECFIL", kCardFileKeyword},
    {"VECTORFILE", kCardFileKeyword},
    {"ELTFIL", kCardFileKeyword},
    {"ELSETFILE", kCardFileKeyword},
    {"SATFIL", kCardFileKeyword},
    {"ZYRVECFILE", kCardZyrVecFile},
    {"ZYRCTRLFILE", kCardZyrCtrlFile},
    {"KT_DMA_ON", kCardDmaOn},
}};

int32_t KeywordType(std::string_view line) {
  for (const Keyword& keyword : kKeywords) {
    if (line.starts_with(keyword.word)) return keyword.code;
  }
  return kCardOther;
}

// For every character, whether some keyword begins with it in either case:
// a file pass looks up the first character of every line.
constexpr std::array<bool, 256> kKeywordInitials = [] {
  std::array<bool, 256> initials{};
  for (const Keyword& keyword : kKeywords) {
    const char initial = keyword.word.front();
    initials[static_cast<unsigned char>(initial)] = true;
    initials[static_cast<unsigned char>(initial - 'A' + 'a')] = true;
  }
  return initials;
}();

bool IsClassifyLevel(char c) {
  return c == ' ' || c == 'C' || c == 'S' || c == 'U';
}

// Logs the parts joined as one error line; the parts that quote a card
// carry all 512 characters of it.
void LogJoined(std::initializer_list<std::string_view> parts) {
  std::array<char, 2 * kLineLength> msg;
  char* end = msg.data();
  for (const std::string_view part : parts) end = std::copy(part.begin(), part.end(), end);
  TraceLogError({msg.data(), static_cast<std::size_t>(end - msg.data())});
}

// The field loops are unrolled, so that each field's columns are constants
// in its vector reader.
bool Read1P(const Line& line, QuorbRecord& rec) {
#pragma GCC unroll 3
  for (std::size_t i = 0; i < 3; ++i) {
    if (!ReadCardRealField(Field(line, k1PPos[i]), k1PDecimals, rec.pos[i])) return false;
  }
#pragma GCC unroll 3
  for (std::size_t i = 0; i < 3; ++i) {
    if (!ReadCardRealField(Field(line, k1PVel[i]), k1PDecimals, rec.vel[i])) return false;
  }
  return true;
}

bool Read2P(const Line& line, QuorbRecord& rec) {
  GetText(line, k2PIntlDesig, rec.intlDesig);
  GetText(line, k2PEpoch, rec.epochDtg);
  if (!ReadIntField(Field(line, k2PRevNumRead), rec.revNum)) return false;
  if (!ReadIntField(Field(line, k2PElsetNumRead), rec.elsetNum)) return false;
  double* const reals[] = {&rec.bTerm, &rec.agom, &rec.inTrackThrust};
#pragma GCC unroll 3
  for (std::size_t i = 0; i < 3; ++i) {
    if (!ReadCardRealField(Field(line, k2PReals[i]), k2PImpliedDecimals, *reals[i])) return false;
  }
  GetText(line, k2PCoordSys, rec.coordSys);
  return true;
}

void Write1P(const QuorbRecord& rec, Line& line) {
  for (std::size_t i = 0; i < 3; ++i) {
    WriteFixedField(Field(line, k1PPos[i]), rec.pos[i], k1PDecimals);
    WriteFixedField(Field(line, k1PVel[i]), rec.vel[i], k1PDecimals);
  }
  line[k1PSecClassCol - 1] = rec.secClass;
  Put(line, k1PTag, k1PTagText);
}

// The epoch goes to the right end of its columns: its trailing blanks move
// in front of it.
void WriteEpoch(const Text<17>& epoch, Line& line) {
  const std::string_view text = TrimRight(View(epoch));
  std::copy(text.begin(), text.end(),
            line.data() + k2PEpoch.first - 1 + epoch.size() - text.size());
}

void Write2P(const QuorbRecord& rec, Line& line) {
  Put(line, k2PSatNum, View(NumToAlpha5(rec.satNum)));
  Put(line, k2PIntlDesig, View(rec.intlDesig));
  WriteEpoch(rec.epochDtg, line);
  WriteIntField(Field(line, k2PRevNumWrite), rec.revNum);
  WriteIntField(Field(line, k2PElsetNumWrite), rec.elsetNum);
  const double reals[] = {rec.bTerm, rec.agom, rec.inTrackThrust};
  for (std::size_t i = 0; i < 3; ++i) Fx0ToAx(reals[i], Field(line, k2PReals[i]));
  Put(line, k2PCoordSys, View(rec.coordSys));
  Put(line, k2PTag, k2PTagText);
}

}  // namespace

int32_t QuorbCardType(std::string_view line) {
  if (const int32_t code = CardTagType(CardTagOf(line))) return code;
  return KeywordType(line);
}

bool BeginsLikeKeyword(std::string_view line) {
  return !line.empty() && BeginsKeyword(line.front());
}

bool BeginsKeyword(char first) {
  return kKeywordInitials[static_cast<unsigned char>(first)];
}

int32_t QuorbCardTypeAnyCase(std::string_view line) {
  // Cards, by far the most common lines, are told by three columns, and
  // only a line that begins like a keyword is upper-cased whole.
  CardTag tag = CardTagOf(line);
  std::transform(tag.begin(), tag.end(), tag.begin(), UpperCase);
  if (const int32_t code = CardTagType(tag)) return code;
  if (!BeginsLikeKeyword(line)) return kCardOther;
  Text<kCardColumns> upper;
  ToUpperCase(upper, line.substr(0, std::min(line.size(), kCardColumns)));
  return KeywordType(View(upper));
}

void Quorb2Lines(const QuorbRecord& rec, Line& line1, Line& line2) {
  FillBlanks(line1.data(), line1.size());
  FillBlanks(line2.data(), line2.size());
  Write1P(rec, line1);
  Write2P(rec, line2);
}

int32_t Lines2Quorb(const Line& line1, const Line& line2, QuorbRecord& rec) {
  const int32_t status = ReadCardSetFields(line1, line2, rec);
  return status != 0 ? status : ValidateQuorbValues(rec);
}

int32_t ReadCardSetFields(const Line& line1, const Line& line2, QuorbRecord& rec) {
  FreeQuorbRecord(rec);
  if (QuorbCardType(View(line1)) != kCard1P) {
    TraceLogError("Lines2Quorb: Invalid 1P card set.");
    return QUORB_FAILED;
  }
  if (QuorbCardType(View(line2)) != kCard2P) {
    TraceLogError("Lines2Quorb: Invalid 2P card set.");
    return QUORB_FAILED;
  }
  return ReadCardFields(line1, line2, rec);
}

int32_t ReadCardFields(const Line& line1, const Line& line2, QuorbRecord& rec) {
  const char level = line1[k1PSecClassCol - 1];
  if (!IsClassifyLevel(level)) {
    LogJoined({"Lines2Quorb: Line1 = '", View(line1), "'."});
    LogJoined({"Lines2Quorb: Unknown Quorb's classify level '", {&level, 1}, "'."});
    return QUORB_FAILED;
  }
  rec.secClass = level;
  if (!Read1P(line1, rec)) {
    LogJoined({"Lines2Quorb: Error reading 1P: ", View(line1)});
    return QUORB_FAILED;
  }
  if (!Read2P(line2, rec)) {
    LogJoined({"Lines2Quorb: Error reading 2P: ", View(line2)});
    return QUORB_FAILED;
  }
  rec.satNum = Alpha5ToNum(Field(line2, k2PSatNum));
  return 0;
}

Text<32> FieldsToStr(const QuorbRecord& rec) {
  constexpr int kSatNumDigits = 9;
  constexpr int32_t kMaxSatNum = 999'999'999;
  constexpr int kEpochWidth = 16;
  constexpr int kEpochDecimals = 9;
  Text<32> text = BlankText<32>();
  // Leading zeros keep the labels in satellite order when compared as text.
  if (rec.satNum < 0 || rec.satNum > kMaxSatNum) {
    std::fill_n(text.begin(), kSatNumDigits, '*');
  } else {
    int32_t rest = rec.satNum;
    for (int i = kSatNumDigits - 1; i >= 0; --i, rest /= 10) {
      text[i] = static_cast<char>('0' + rest % 10);
    }
  }
  WriteFixedField({text.data() + kSatNumDigits, kEpochWidth}, DateStr2DS50(View(rec.epochDtg)),
                  kEpochDecimals);
  return text;
}

}  // namespace quorb

// The exported interface as a host sees it: keys, field access by index,
// the twins that write their key, statuses, messages, null arguments, and
// reads that end on every path.

#include "Quorb/QuorbTree.h"
#include "support/StoreTest.h"

namespace quorb {
namespace {

using test::FieldsIn;
using test::LastError;
using test::Out;

class Exports : public test::StoreTest {};

std::string Field(int64_t key, int32_t index) {
  char value[512];
  EXPECT_EQ(QuorbGetField(key, index, value), 0);
  return Out(value, sizeof value);
}

// Each index and the text of its field, left-justified.
TEST_F(Exports, FieldsByIndex) {
  FieldsIn f;
  f.secClass = 'S';
  f.intlDesig = "  98067A";
  f.revNum = 123456;
  f.elsetNum = 9876;
  f.bTerm = 1e25;
  f.inTrackThrust = -0.5;
  f.coordSys = "TMEPO";
  const int64_t key = f.Add();
  std::string texts;  // of indices -1 to 18
  for (int32_t index = -1; index <= 18; ++index) texts += Field(key, index) + "|";
  EXPECT_EQ(texts,
            "||7000.000000000000000|-100.500000000000000|12.250000000000000|"
            "10.000000000000000|7400.000000000000000|-3.500000000000000|S||25544|98067A|"
            "25123120000.000|123456|9876|" +
                std::string(35, '*') + "|0.020000000000000|-0.500000000000000|TMEPO||");
}

// A value is set from text, validated and stored; the key fields stay.
TEST_F(Exports, SettingFieldsFromText) {
  const int64_t key = FieldsIn().Add();
  const struct {
    int32_t index;
    const char* value;
    int32_t status;
    const char* stored;  // the field's text afterwards
  } cases[] = {{1, "   7000.5", 0, "7000.500000000000000"},
               {1, "2E9", 2, "7000.500000000000000"},
               {4, "-1e3", 0, "-1000.000000000000000"},
               {14, "0.5", 0, "0.500000000000000"},
               {15, "0.25", 0, "0.250000000000000"},
               {16, "1e-3", 0, "0.001000000000000"},
               {7, "C", 0, "C"},
               {12, "99", 0, "99"},
               {12, "1000000", 2, "99"},
               {13, "12.7", 0, "12"},
               {17, "XYZ", 2, "MMJ2K"},
               {17, "MMB50 and more words", 0, "MMB50"},
               {17, "", 0, ""},
               {10, "ABCDEFGHIJK", 0, "ABCDEFGH"},
               {9, "77", 0, "25544"},
               {11, "26001000000.000", 0, "25123120000.000"}};
  for (const auto& c : cases) {
    EXPECT_EQ(QuorbSetField(key, c.index, c.value), c.status) << c.index << " " << c.value;
    EXPECT_EQ(Field(key, c.index), c.stored) << c.index << " " << c.value;
  }
  EXPECT_EQ(QuorbSetField(key, 42, "1"), 0);
  EXPECT_EQ(QuorbFieldsToSatKey(25544, "25123120000.000"), key);
}

// Updates by fields change every field they name and keep the rest:
// satellite, epoch and maneuver cards.
TEST_F(Exports, FieldUpdatesKeepWhatTheyDoNotName) {
  const int64_t key = FieldsIn().Add();
  QuorbModifyRec(key, [](QuorbRecord& rec) {
    rec.SetManeuvCards(std::make_unique<ManeuvCards>());
    rec.numManeuvCards = 2;
  });
  FieldsIn update{{1, 2, 3}, {4, 5, 6}, 'C', 1, "X", "", 11, 12, 0.1, 0.2, 0.3, "TMDAT"};
  EXPECT_EQ(update.Update(key), 0);
  const quorb::testing::HostFields f = quorb::testing::GetAllFields(key);
  EXPECT_EQ(std::make_tuple(f.pos[2], f.vel[0], f.secClass, f.satNum, Out(f.intlDesig, 8),
                            Out(f.epochDtg, 17), f.revNum, f.elsetNum, f.bTerm, f.agom,
                            f.inTrackThrust, Out(f.coordSys, 5)),
            std::make_tuple(3.0, 4.0, 'C', 25544, std::string("X"), std::string("25123120000.000"),
                            11, 12, 0.1, 0.2, 0.3, std::string("TMDAT")));
  update.revNum = -1;
  EXPECT_EQ(update.Update(key), 2);
  QuorbRecord rec;
  QuorbFindRec(key, rec);
  EXPECT_EQ(std::make_tuple(rec.revNum, rec.numManeuvCards), std::make_tuple(11, 2));
}

// Every export that logs, with a sink that counts and adds a vector from each
// line it receives: lines made under a read or the writer section wait for
// it to end. Not-found messages carry the key right-aligned in 19 columns.
TEST_F(Exports, MessagesReachASinkThatCallsBackIntoTheStore) {
  static int heard = 0;
  TraceLogSetSink([](int32_t, const char*, int32_t,
                     void*) { FieldsIn{.satNum = 900'000 + QuorbGetCount() + heard++}.Add(); },
                  nullptr);
  int64_t untouched = -9;
  QuorbGetLoaded(0, &untouched);  // of an empty store
  EXPECT_EQ(untouched, -9);
  char a[512], b[512];
  TraceLogLastInfo(a, sizeof a);
  EXPECT_STREQ(a, "Warning-QuorbGetLoaded: The binary tree is empty. No satKey returns.");
  const int64_t absent = FieldsIn().Add() + 1;
  ElsetKeyModeSet(1);
  const int64_t dma = FieldsIn().Add();
  double xa[155] = {};
  for (const int64_t key : {int64_t{42}, absent}) {
    const struct {
      std::function<int32_t()> call;
      const char* function;
      std::vector<const char*> blanked;  // out texts a failure leaves blank
    } calls[] = {
        {[&] { return QuorbGetField(key, 1, a); }, "QuorbGetField", {a}},
        {[&] { return QuorbSetField(key, 1, "1"); }, "QuorbSetField", {}},
        {[&] { return quorb::testing::GetAllFields(key).status; }, "QuorbGetAllFields", {}},
        {[&] { return QuorbGetLines(key, a, b); }, "QuorbGetLines", {a, b}},
        {[&] { return QuorbDataToArray(key, xa, a); }, "QuorbDataToArray", {a}},
        {[&] { return QuorbUpdateSatFrArray(key, xa, a); }, "QuorbUpdateSatFrArray", {}},
        {[&] { return FieldsIn().Update(key); }, "QuorbUpdateSatFrFields", {}}};
    for (const auto& [call, function, blanked] : calls) {
      std::memset(a, 'x', sizeof a);
      std::memset(b, 'x', sizeof b);
      EXPECT_EQ(call(), 2) << function;
      for (const char* out : blanked) EXPECT_EQ(Out(out, sizeof a), "") << function;
      std::snprintf(b, sizeof b, "%s: Unable to locate satKey %19lld in the QUORB binary tree.",
                    function, static_cast<long long>(key));
      EXPECT_EQ(LastError(), b);
    }
  }
  EXPECT_EQ(QuorbGetSatKey(1234567890), -1);
  EXPECT_EQ(LastError(),
            "GetSatKey: Unable to locate satellite number ********* in the QUORB binary tree.");
  EXPECT_EQ(QuorbRemoveSat(absent) + QuorbRemoveSat(dma + 10), 4);
  const std::string cards = WriteFile(
      "bad.txt", test::k1P + "\n" + test::k2P.substr(0, 40) + "x\n" + test::CardSet(7, 100));
  EXPECT_EQ(Load(cards) + Load(dir_ / "missing.txt"), 0 + 2);
  EXPECT_EQ(QuorbSaveFile((dir_ / "no" / "such.txt").c_str(), 0), 2);
  TraceLogSetSink(nullptr, nullptr);
  EXPECT_EQ(QuorbGetCount(), 3 + heard);  // two added, one loaded, one per line
  // A failing read writes zeros and blanks.
  const quorb::testing::HostFields f = quorb::testing::GetAllFields(-1);
  EXPECT_EQ(std::make_tuple(f.pos[0], f.vel[2], f.secClass, f.satNum, Out(f.epochDtg, 17), f.bTerm),
            std::make_tuple(0.0, 0.0, ' ', 0, std::string(), 0.0));
  EXPECT_EQ(std::string(f.intlDesig, 8) + std::string(f.coordSys, 5), std::string(13, ' '));
  // A sink may replace itself, but not start a load inside its thread's load.
  static int32_t nested = 0;
  static std::string nestedFile;
  nestedFile = cards;
  TraceLogSetSink(
      [](int32_t, const char*, int32_t, void*) {
        nested += QuorbLoadFile(nestedFile.c_str()) * 10;
        TraceLogSetSink(nullptr, nullptr);
      },
      nullptr);
  EXPECT_EQ(Load(cards) + nested, 20);
}

// Null pointers where the host must pass arrays: a failure, never a crash.
// (The C host test passes null for the others.)
TEST_F(Exports, NullArgumentsFail) {
  const int64_t key = FieldsIn().Add();
  char text[512];
  double xa[155] = {};
  EXPECT_EQ(QuorbDataToArray(key, xa, nullptr), 2);
  EXPECT_EQ(LastError(), "QuorbDataToArray: A required argument is a NULL pointer.");
  EXPECT_EQ(QuorbLinesToArray(test::k1P.c_str(), test::k2P.c_str(), nullptr, text), 2);
  EXPECT_EQ(QuorbParse(test::k1P.c_str(), nullptr, xa, xa, text, nullptr, text, text, nullptr,
                       nullptr, xa, xa, xa, text),
            2);
  EXPECT_EQ(QuorbUpdateSatFrFields(key, nullptr, xa, 'U', "", 0, 0, 0, 0, 0, ""), 2);
  EXPECT_EQ(
      QuorbGetAllFields(key, xa, xa, text, nullptr, text, text, nullptr, nullptr, xa, xa, xa, text),
      2);
  QuorbArrayToLines(nullptr, "U", text, text);
  QuorbFieldsToLines(xa, xa, 'U', 1, "", "25001000000.000", 0, 0, 0, 0, 0, "", text, nullptr);
  QuorbGetSatKeyML(25544, nullptr);
  EXPECT_EQ(LastError(), "QuorbGetSatKeyML: A required argument is a NULL pointer.");
  EXPECT_EQ(QuorbFieldsToSatKey(25544, nullptr), -1);
  EXPECT_EQ(LastError(), "QuorbFieldsToSatKey: A required argument is a NULL pointer.");
  EXPECT_EQ(QuorbGetCount(), 1);
}

TEST_F(Exports, InfoAndInit) {
  char info[129];
  info[128] = '!';
  EXPECT_EQ(QuorbInit(123), 0);
  QuorbGetInfo(info);
  EXPECT_TRUE(std::string(info, 128).starts_with("Quorb Version "));
  EXPECT_EQ(info[127], ' ');
  EXPECT_EQ(info[128], '!');
}

}  // namespace
}  // namespace quorb

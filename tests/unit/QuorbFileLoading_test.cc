#include "Quorb/QuorbFileLoading.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "LoadTestSupport.h"
#include "Services/Calendar.h"
#include "Services/DmaKeys.h"

namespace quorb {
namespace {

using loadtest::Card2P;
using loadtest::CardSet;
using loadtest::k1P;
using loadtest::ManeuverCard;
using loadtest::Totals;

constexpr const char* kMissing1P = "ReadOnlyQUORBs: Missing 1P card in 1P/2P card set.";

QuorbRecord StoredVector(int satNum, int day) {
  char epoch[18];
  std::snprintf(epoch, sizeof epoch, "25%03d120000.000", day);
  QuorbRecord rec;
  QuorbFindRec(CreateSatKey(satNum, kVectorElsetType, epoch), rec);
  return rec;
}

std::vector<std::string> ManeuversOf(const QuorbRecord& rec) {
  std::vector<std::string> cards;
  for (int i = 0; i < rec.numManeuvCards; ++i) {
    cards.emplace_back(TrimRight(View((*rec.maneuvCards)[i])));
  }
  return cards;
}

class FileLoadingTest : public loadtest::LoadTest {};

TEST_F(FileLoadingTest, FileWithNothingLoadableCountsNothing) {
  // Comments that end like a card count for nothing.
  const std::string cardLikeComments =
      "*" + Card2P(1, 10).substr(1) + "\n*" + ManeuverCard(1).substr(1) + "\n";
  const std::string path = WriteFile("empty.txt",
                                     "* a comment\n"
                                     "\n"
                                     "          \n"
                                     "SOME_OTHER_KEYWORD = 7\n"
                                     "* VECFIL = commented.txt\n" +
                                         cardLikeComments);
  EXPECT_EQ(Load("   " + path), 0);  // leading blanks of the name are dropped
  EXPECT_EQ(InfoLines().front(), "QuorbLoadFile: Reading QUORBs from file \"" + path + "\".");
  EXPECT_EQ(LastTotals(), Totals(0, 0, 0));
  EXPECT_EQ(QuorbGetNumOfTreeNodes(), 0);
}

TEST_F(FileLoadingTest, LowerCaseKeywordsAreFollowedAndNamesKeepTheirCase) {
  WriteFile("Sub/MixedCase.TXT", CardSet(11, 10));
  WriteFile("Sub/Other.dat", CardSet(12, 10));
  // Relative names resolve beside the naming file, not the working directory.
  const std::string top = WriteFile("top.txt",
                                    "vecfil = Sub/MixedCase.TXT\n"
                                    "SatFil \"Sub/Other.dat\"\n" +
                                        CardSet(13, 10));
  EXPECT_EQ(Load(top), 0);
  EXPECT_EQ(LastTotals(), Totals(3, 0, 0));
  EXPECT_EQ(StoredVector(11, 10).satNum, 11);
  EXPECT_EQ(StoredVector(12, 10).satNum, 12);
}

TEST_F(FileLoadingTest, TwoPCardWithoutPending1PIsBad) {
  const std::string path =
      WriteFile("cards.txt", Card2P(1, 10) + "\n" +        // 2P first
                                 k1P + "\nNOT A CARD\n" +  // any other line drops the 1P
                                 Card2P(2, 10) + "\n" + CardSet(3, 10) + Card2P(4, 10) +
                                 "\n");  // its 1P went with vector 3
  EXPECT_EQ(Load(path), 0);
  EXPECT_EQ(LastTotals(), Totals(1, 0, 3));
  EXPECT_EQ(CountInfo(kMissing1P), 3);
}

TEST_F(FileLoadingTest, RejectedSetKeepsItsOneP) {
  const std::string path =
      WriteFile("cards.txt", k1P + "\n" + Card2P(1, 10, "BAD!!") + "\n" + Card2P(1, 10) + "\n");
  EXPECT_EQ(Load(path), 0);
  EXPECT_EQ(LastTotals(), Totals(1, 0, 1));
  EXPECT_EQ(StoredVector(1, 10).satNum, 1);
  EXPECT_EQ(CountInfo(kMissing1P), 0);
  EXPECT_EQ(ErrorLines(), std::vector<std::string>{
                              " ValidateQuorbValues: Invalid vector coordinate system = BAD!!"
                              " (valid=TMDAT/TMEPO/MMB50/MMJ2K or blanks)"});
}

// The loader finds cards in any letter case, but a card set whose tags are
// not upper case is rejected as the card reader rejects it.
TEST_F(FileLoadingTest, LowerCaseCardTagsAreFoundAndRejected) {
  std::string lower1P = k1P;
  lower1P.back() = 'p';
  std::string lower2P = Card2P(2, 10);
  lower2P.back() = 'p';
  const std::string path = WriteFile(
      "cards.txt", lower1P + "\n" + Card2P(1, 10) + "\n" + k1P + "\n" + lower2P + "\n");
  EXPECT_EQ(Load(path), 2);
  EXPECT_EQ(LastTotals(), Totals(0, 0, 2));
  EXPECT_EQ(ErrorLines(), (std::vector<std::string>{"Lines2Quorb: Invalid 1P card set.",
                                                    "Lines2Quorb: Invalid 2P card set."}));
}

TEST_F(FileLoadingTest, StatusIsThatOfTheLastCardSet) {
  const std::string lastBad =
      WriteFile("a.txt", CardSet(1, 10) + CardSet(2, 10) + k1P + "\n" + Card2P(3, 10, "XXXXX"));
  EXPECT_EQ(Load(lastBad), 2);
  EXPECT_EQ(LastTotals(), Totals(2, 0, 1));

  const std::string badThenGood =
      WriteFile("b.txt", k1P + "\n" + Card2P(4, 10, "XXXXX") + "\n" + CardSet(5, 10));
  EXPECT_EQ(Load(badThenGood), 0);
  EXPECT_EQ(LastTotals(), Totals(1, 0, 1));
  EXPECT_EQ(QuorbGetNumOfTreeNodes(), 3);
}

TEST_F(FileLoadingTest, EpochBlanksBecomeZerosAndUnkeyableEpochsAreBad) {
  std::string blanks = Card2P(1, 10);
  blanks.replace(14, 17, "2501012 000.000  ");
  std::string unkeyable = Card2P(2, 10);
  unkeyable.replace(14, 17, "  NOT AN EPOCH   ");
  const std::string path =
      WriteFile("cards.txt", k1P + "\n" + blanks + "\n" + k1P + "\n" + unkeyable + "\n");
  EXPECT_EQ(Load(path), 0);
  EXPECT_EQ(LastTotals(), Totals(1, 0, 1));
  EXPECT_TRUE(ErrorLines().empty());
  const std::vector<int64_t> keys = QuorbGetTreeKeys(kOrderBySatEpoch);
  ASSERT_EQ(keys.size(), 1u);
  QuorbRecord rec;
  QuorbFindRec(keys[0], rec);
  EXPECT_EQ(View(rec.epochDtg), "25010120000.00000");
}

TEST_F(FileLoadingTest, DuplicatesFollowTheDuplicateMode) {
  const std::string path = WriteFile("cards.txt", CardSet(1, 10) + CardSet(2, 10));
  EXPECT_EQ(Load(path), 0);
  EXPECT_EQ(Load(path), 0);
  EXPECT_EQ(LastTotals(), Totals(0, 2, 0));

  DupKeyModeSet(1);
  EXPECT_EQ(Load(path), 0);
  EXPECT_EQ(LastTotals(), Totals(2, 0, 0));
  EXPECT_EQ(QuorbGetNumOfTreeNodes(), 2);
}

TEST_F(FileLoadingTest, ManeuverCardsGoToTheVectorBeforeThem) {
  const std::string path =
      WriteFile("cards.txt", ManeuverCard(1) + "\n" + CardSet(1, 10) + ManeuverCard(2) + "\n" +
                                 ManeuverCard(3, '2') + "\n" + CardSet(2, 10) + CardSet(3, 10) +
                                 ManeuverCard(4) + "\n");
  EXPECT_EQ(Load(path), 0);
  // Cards before the first set go with the first vector that loads.
  EXPECT_EQ(ManeuversOf(StoredVector(1, 10)),
            (std::vector<std::string>{ManeuverCard(1), ManeuverCard(2), ManeuverCard(3, '2')}));
  const QuorbRecord second = StoredVector(2, 10);
  EXPECT_EQ(second.maneuvCards, nullptr);
  EXPECT_EQ(second.numManeuvCards, 0);
  EXPECT_EQ(ManeuversOf(StoredVector(3, 10)), std::vector<std::string>{ManeuverCard(4)});
  const QuorbRecord first = StoredVector(1, 10);
  EXPECT_TRUE(IsBlank(View((*first.maneuvCards)[kManeuvSlots - 1])));
}

TEST_F(FileLoadingTest, ManeuverCardsPastTheHundredthAreIgnoredWithOneWarning) {
  std::string content = CardSet(1, 10);
  for (int i = 0; i < 105; ++i) content += ManeuverCard(i) + "\n";
  content += CardSet(2, 10);
  for (int i = 0; i < 3; ++i) content += ManeuverCard(1000 + i) + "\n";
  EXPECT_EQ(Load(WriteFile("cards.txt", content)), 0);
  const std::vector<std::string> first = ManeuversOf(StoredVector(1, 10));
  ASSERT_EQ(first.size(), 100u);
  EXPECT_EQ(first.back(), ManeuverCard(99));
  // The buffer starts over after its hand-over.
  EXPECT_EQ(ManeuversOf(StoredVector(2, 10)).size(), 3u);
  EXPECT_EQ(
      CountInfo("Warning-ReadOnlyQUORBs: More than 100 maneuver cards; the rest are ignored."), 1);
}

TEST_F(FileLoadingTest, ManeuverCardsAfterASilentDuplicateWaitForTheNextNewVector) {
  ASSERT_EQ(Load(WriteFile("first.txt", CardSet(1, 10))), 0);
  DupKeyModeSet(1);
  const std::string again = WriteFile("again.txt", CardSet(1, 10) + ManeuverCard(1) + "\n" +
                                                       CardSet(2, 10) + ManeuverCard(2) + "\n");
  EXPECT_EQ(Load(again), 0);
  EXPECT_EQ(LastTotals(), Totals(2, 0, 0));
  // The stored vector was not added by this load, so its cards stay as they were.
  EXPECT_EQ(StoredVector(1, 10).numManeuvCards, 0);
  EXPECT_EQ(ManeuversOf(StoredVector(2, 10)),
            (std::vector<std::string>{ManeuverCard(1), ManeuverCard(2)}));
}

TEST_F(FileLoadingTest, ManeuverCardsAfterARejectedLastSetAreNotHandedOver) {
  const std::string path =
      WriteFile("cards.txt", CardSet(1, 10) + k1P + "\n" + Card2P(2, 10, "XXXXX") + "\n" +
                                 ManeuverCard(1) + "\n");
  EXPECT_EQ(Load(path), 2);
  EXPECT_EQ(StoredVector(1, 10).numManeuvCards, 0);
}

TEST_F(FileLoadingTest, IncludedFilesLoadFirstAndAFailureStopsTheLoad) {
  WriteFile("one.txt", CardSet(1, 10));
  WriteFile("rejected.txt", CardSet(2, 10) + k1P + "\n" + Card2P(3, 10, "XXXXX") + "\n");
  const std::string missing = WriteFile("top1.txt",
                                        "VECFIL = one.txt\n"
                                        "ELTFIL = nowhere.txt\n"
                                        "VECFIL = rejected.txt\n" +
                                            CardSet(4, 10));
  EXPECT_EQ(Load(missing), 2);
  EXPECT_EQ(ErrorLines().back(), "FileOpen: Cannot open file \"nowhere.txt\".");
  EXPECT_EQ(LastTotals(), "");
  EXPECT_EQ(QuorbGetNumOfTreeNodes(), 1);  // one.txt only

  const std::string rejected =
      WriteFile("top2.txt", "VECTORFILE = rejected.txt\nVECFIL = one.txt\n" + CardSet(4, 10));
  EXPECT_EQ(Load(rejected), 2);
  EXPECT_EQ(LastTotals(), "");
  EXPECT_EQ(StoredVector(2, 10).satNum, 2);
  EXPECT_EQ(StoredVector(4, 10).satNum, -123);
}

TEST_F(FileLoadingTest, TopFileThatCannotBeOpened) {
  const std::string missing = (dir_ / "missing.txt").string();
  EXPECT_EQ(Load(missing), 2);
  EXPECT_EQ(ErrorLines().back(), "FileOpen: Cannot open file \"" + missing + "\".");
  EXPECT_EQ(Load(dir_.string()), 2);  // a directory is no input file
  EXPECT_EQ(LastTotals(), "");
}

TEST_F(FileLoadingTest, OddLineFormsLoadAlike) {
  const std::string longComment = "*" + std::string(700, 'x');
  // A card line longer than 512 characters: whatever follows column 512 is cut.
  const std::string long1P = k1P + std::string(432, ' ') + "TRAILING TEXT PAST COLUMN 512";
  const std::string content = longComment + "\r\n" + k1P + "\r\n" + Card2P(1, 10) + "\r\n" +
                              long1P + "\n" + Card2P(2, 10) + "\n" + k1P + "\n" + Card2P(3, 10);
  EXPECT_EQ(Load(WriteFile("odd.txt", content)), 0);
  EXPECT_EQ(LastTotals(), Totals(3, 0, 0));
}

TEST_F(FileLoadingTest, BinaryGarbageLoadsNothingAndDoesNotCrash) {
  std::mt19937 rng(7);
  std::string garbage(64 * 1024, '\0');
  for (char& c : garbage) c = static_cast<char>(rng());
  EXPECT_EQ(Load(WriteFile("garbage.bin", garbage)), 0);
  EXPECT_EQ(QuorbGetNumOfTreeNodes(), 0);
  EXPECT_NE(LastTotals(), "");
}

TEST_F(FileLoadingTest, SaveWritesHeaderAndCardsInKeyOrder) {
  const std::string empty = (dir_ / "empty.sav").string();
  EXPECT_EQ(Save(empty), 0);
  const std::string header = "\n\n\n*** Orbital Elements - Quorb Vectors ***\n";
  EXPECT_EQ(ReadFile(empty), header);

  const std::string cards =
      WriteFile("cards.txt", CardSet(7, 20) + CardSet(5, 30) + CardSet(5, 10));
  ASSERT_EQ(Load(cards), 0);
  EXPECT_EQ(Save(empty, 1), 0);  // appends
  const std::string saved = ReadFile(empty);
  ASSERT_TRUE(saved.starts_with(header + header));
  const std::string body = saved.substr(2 * header.size());
  EXPECT_EQ(body, CardSet(5, 10) + CardSet(5, 30) + CardSet(7, 20));
}

TEST_F(FileLoadingTest, SavedFileLoadsBackAndSavesIdentically) {
  std::string content;
  for (int sat = 1; sat <= 50; ++sat) content += CardSet(sat * 997 % 99999, 1 + sat % 300);
  ASSERT_EQ(Load(WriteFile("cards.txt", content)), 0);
  const std::string first = (dir_ / "first.sav").string();
  ASSERT_EQ(Save(first), 0);

  QuorbEmptyTree();
  EXPECT_EQ(Load(first), 0);
  EXPECT_EQ(LastTotals(), Totals(50, 0, 0));
  const std::string second = (dir_ / "second.sav").string();
  ASSERT_EQ(Save(second), 0);
  EXPECT_EQ(ReadFile(first), ReadFile(second));

  // Still stored: every vector is a duplicate now.
  EXPECT_EQ(Load(first), 0);
  EXPECT_EQ(LastTotals(), Totals(0, 50, 0));
}

TEST_F(FileLoadingTest, SaveFailures) {
  EXPECT_EQ(Save((dir_ / "no/such/dir/x.sav").string()), 2);
  EXPECT_TRUE(ErrorLines().back().starts_with("FileOpen: Cannot open file"));
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
  ASSERT_EQ(Load(WriteFile("cards.txt", CardSet(1, 10))), 0);
  EXPECT_EQ(Save("/dev/full"), 2);
  EXPECT_EQ(ErrorLines().back(), "QuorbSaveFile: Cannot write file \"/dev/full\".");
}

TEST_F(FileLoadingTest, DmaKeywordSwitchesTheKeyModeForGood) {
  const std::string path = WriteFile("cards.txt", "kt_dma_on\n" + CardSet(1, 10));
  EXPECT_EQ(Load(path), 0);
  EXPECT_EQ(ElsetKeyModeGet(), 1);
  const std::vector<int64_t> keys = QuorbGetTreeKeys(kOrderBySatEpoch);
  ASSERT_EQ(keys.size(), 1u);
  EXPECT_TRUE(IsDMA(keys[0]));
}

TEST_F(FileLoadingTest, ManeuverCardsReachDmaKeyedVectors) {
  ElsetKeyModeSet(1);
  const std::string path = WriteFile("cards.txt", CardSet(1, 10) + ManeuverCard(1) + "\n");
  EXPECT_EQ(Load(path), 0);
  const std::vector<int64_t> keys = QuorbGetTreeKeys(kOrderBySatEpoch);
  ASSERT_EQ(keys.size(), 1u);
  QuorbRecord rec;
  QuorbFindRec(keys[0], rec);
  EXPECT_EQ(ManeuversOf(rec), std::vector<std::string>{ManeuverCard(1)});
}

const std::string kControls =
    "perturbation_controls = 1\n"
    "perturbation_geopot_flag = 1\n"
    "integrator_input_stepsize_sec = 2\n";

TEST_F(FileLoadingTest, ControlDataGoToTheSatelliteNamedByTheTopFile) {
  const std::string named =
      WriteFile("25544_ctrl.txt", CardSet(25544, 10) + "run_option_dc_only\n" + kControls);
  EXPECT_EQ(Load(named), 0);
  const QuorbRecord rec = StoredVector(25544, 10);
  ASSERT_NE(rec.card4p, nullptr);
  EXPECT_EQ(rec.card4p->geopotFlag, 1);
  EXPECT_EQ(rec.card4p->stepSize, 120.0);

  // Without a satellite number in the name nothing is found and the pass
  // ends: the card set after the control data is not read.
  const std::string unnamed =
      WriteFile("iss.txt", CardSet(1, 10) + "RUN_OPTION_DC_ONLY\n" + kControls + CardSet(2, 10));
  EXPECT_EQ(Load(unnamed), 0);
  EXPECT_EQ(LastTotals(), Totals(1, 0, 0));
  EXPECT_EQ(StoredVector(1, 10).card4p, nullptr);
}

TEST_F(FileLoadingTest, KeyedFilesNamedByKeywords) {
  WriteFile("vec.zyr",
            "pos_vel_eci_satellite_number = 25544\n"
            "pos_vel_eci_epoch_iyear = 2025\n"
            "pos_vel_eci_epoch_day = 10.5\n");
  WriteFile("25544.ctl", kControls);
  WriteFile("00042.ctl", kControls);  // no such satellite: skipped
  const std::string top = WriteFile("top.txt",
                                    "ZYRVECFILE = vec.zyr\n"
                                    "ZYRCTRLFILE = 00042.ctl\n"
                                    "ZYRCTRLFILE = 25544.ctl\n");
  EXPECT_EQ(Load(top), 0);
  EXPECT_EQ(LastTotals(), Totals(1, 0, 0));
  QuorbRecord rec;
  QuorbFindRec(QuorbSatKeyGet(25544), rec);
  ASSERT_NE(rec.card4p, nullptr);
  EXPECT_EQ(rec.card4p->stepSize, 120.0);
}

TEST_F(FileLoadingTest, KeyedVectorDataEndAFile) {
  const std::string path = WriteFile("cards.txt", CardSet(1, 10) + ManeuverCard(1) + "\n" +
                                                      "Pos_Vel_Eci_State\n"
                                                      "pos_vel_eci_satellite_number = 2\n"
                                                      "pos_vel_eci_epoch_iyear = 25\n"
                                                      "pos_vel_eci_epoch_day = 10.5\n" +
                                                      CardSet(3, 10));
  EXPECT_EQ(Load(path), 0);
  EXPECT_EQ(LastTotals(), Totals(2, 0, 0));  // the card set inside the keyed data is not read
  EXPECT_EQ(StoredVector(2, 10).satNum, 2);
  EXPECT_EQ(ManeuversOf(StoredVector(1, 10)), std::vector<std::string>{ManeuverCard(1)});
}

TEST_F(FileLoadingTest, KeyedVectorDataHandOverManeuversWhateverWasHandedBefore) {
  // Vector 1 receives its card when set 2 is read; set 2 is rejected, and the
  // card after it still goes to vector 1 once keyed vector data end the file.
  const std::string path = WriteFile(
      "cards.txt", CardSet(1, 10) + ManeuverCard(1) + "\n" + k1P + "\n" + Card2P(2, 10, "XXXXX") +
                       "\n" + ManeuverCard(2) + "\n" + "POS_VEL_ECI_STATE\n");
  EXPECT_EQ(Load(path), 0);
  EXPECT_EQ(ManeuversOf(StoredVector(1, 10)), std::vector<std::string>{ManeuverCard(2)});
}

TEST(GetSatNumFrFilePath, ReadsTheFirstFiveCharactersOfTheName) {
  EXPECT_EQ(GetSatNumFrFilePath("/data/25544.ctl"), 25544);
  EXPECT_EQ(GetSatNumFrFilePath("C:\\data\\00005abc.txt"), 5);
  EXPECT_EQ(GetSatNumFrFilePath("25544"), 25544);
  EXPECT_EQ(GetSatNumFrFilePath("dir.1/-1234.x"), -1234);
  EXPECT_EQ(GetSatNumFrFilePath("/data/iss.ctl"), -1);
  EXPECT_EQ(GetSatNumFrFilePath("/data/123.ctl"), -1);
  EXPECT_EQ(GetSatNumFrFilePath("/data/"), 0);  // five blanks
}

TEST(CreateInfoMsg, NamesTheField) {
  const Text<128> msg = CreateInfoMsg("PosX");
  EXPECT_EQ(TrimRight(View(msg)), "ValidateQuorbValues: Reset invalid PosX to a valid value.");
}

}  // namespace
}  // namespace quorb

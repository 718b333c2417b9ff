// Input files as hosts load them: what each kind of line does, included
// files, maneuver cards, statuses and counts; and saved files.

#include "Quorb/QuorbFileLoading.h"
#include "Quorb/QuorbTree.h"
#include "Services/Calendar.h"
#include "Services/DmaKeys.h"
#include "Services/FileUnits.h"
#include "support/StoreTest.h"

namespace quorb {
namespace {

using test::Card2P;
using test::CardSet;
using test::k1P;
using test::ManeuverCard;
using test::Totals;

constexpr const char* kMissing1P = "ReadOnlyQUORBs: Missing 1P card in 1P/2P card set.";
const std::string kRejectedCoordSys =
    " ValidateQuorbValues: Invalid vector coordinate system = XXXXX"
    " (valid=TMDAT/TMEPO/MMB50/MMJ2K or blanks)";

std::string Rejected(int satNum, int day) {
  return k1P + "\n" + Card2P(satNum, day, "XXXXX") + "\n";
}

QuorbRecord Stored(int satNum, int day) {
  char epoch[18];
  std::snprintf(epoch, sizeof epoch, "25%03d120000.000", day);
  QuorbRecord rec;
  QuorbFindRec(CreateSatKey(satNum, kVectorElsetType, epoch), rec);
  return rec;
}

std::vector<std::string> ManeuversOf(const QuorbRecord& rec) {
  std::vector<std::string> cards;
  for (int i = 0; i < rec.numManeuvCards; ++i) {
    cards.emplace_back(TrimRight(View((*rec.maneuvCards())[i])));
  }
  return cards;
}

class Files : public test::StoreTest {
 protected:
  static int32_t Save(const std::string& path, int32_t mode = 0) {
    return QuorbSaveFile(path.c_str(), mode);
  }
  int CountInfo(const std::string& line) const {
    const std::vector<std::string> info = Lines(0);
    return static_cast<int>(std::count(info.begin(), info.end(), line));
  }
};

// What a load gives back and logs: status, totals line, error lines and the
// lines that report a 2P card without its 1P card.
std::string Outcome(int32_t status, const std::string& totals, std::vector<std::string> errors,
                    int missing1P) {
  std::string text = std::to_string(status) + "|" + totals + "|";
  for (const std::string& error : errors) text += error + "|";
  return text + std::to_string(missing1P);
}

TEST_F(Files, WhatEachLineDoes) {
  std::string lower1P = k1P, lower2P = Card2P(2, 10), blanks = Card2P(1, 10);
  lower1P.back() = 'p';
  lower2P.back() = 'p';
  blanks.replace(14, 17, "2501012 000.000  ");         // blanks in an epoch read as zeros
  std::string longLine = "*" + std::string(511, ' ');  // then keywords, one per 512 columns
  for (int i = 0; i < 600; ++i) longLine += test::WithColumns("VECFIL = cards.txt", 512, " ");
  const std::pair<std::string, std::string> cases[] = {
      // Comments, blanks and other keywords count for nothing.
      {"* a comment\n\n          \nSOME_OTHER_KEYWORD = 7\n* VECFIL = commented.txt\n*" +
           Card2P(1, 10).substr(1) + "\n*" + ManeuverCard(1).substr(1) + "\n",
       Outcome(0, Totals(0, 0, 0), {}, 0)},
      // A 2P card without a 1P card waiting is bad; any other line drops the 1P.
      {Card2P(1, 10) + "\n" + k1P + "\nNOT A CARD\n" + Card2P(2, 10) + "\n" + CardSet(3, 10) +
           Card2P(4, 10) + "\n",
       Outcome(0, Totals(1, 0, 3), {}, 3)},
      // A rejected card set keeps its 1P card for the next 2P, up to any
      // other line.
      {Rejected(1, 10) + Card2P(1, 10) + "\n", Outcome(0, Totals(1, 0, 1), {kRejectedCoordSys}, 0)},
      {Rejected(1, 10) + "NOT A CARD\n" + Card2P(1, 10) + "\n",
       Outcome(2, Totals(0, 0, 2), {kRejectedCoordSys}, 1)},
      // Cards are found in any case, and rejected unless upper case.
      {lower1P + "\n" + Card2P(1, 10) + "\n" + k1P + "\n" + lower2P + "\n",
       Outcome(2, Totals(0, 0, 2),
               {"Lines2Quorb: Invalid 1P card set.", "Lines2Quorb: Invalid 2P card set."}, 0)},
      // The status is that of the last card set.
      {CardSet(1, 10) + Rejected(2, 10), Outcome(2, Totals(1, 0, 1), {kRejectedCoordSys}, 0)},
      {Rejected(2, 10) + CardSet(1, 10), Outcome(0, Totals(1, 0, 1), {kRejectedCoordSys}, 0)},
      // Carriage returns, lines past 512 characters, no newline at the end.
      {"*" + std::string(700, 'x') + "\r\n" + k1P + "\r\n" + Card2P(1, 10) + "\r\n" + k1P +
           std::string(432, ' ') + "TRAILING TEXT PAST COLUMN 512\n" + Card2P(2, 10) + "\n" + k1P +
           "\n" + Card2P(3, 10),
       Outcome(0, Totals(3, 0, 0), {}, 0)},
      // A line longer than the read buffer is one line, however it goes on.
      {longLine + "\n" + CardSet(1, 10), Outcome(0, Totals(1, 0, 0), {}, 0)},
      // An epoch that cannot be keyed is bad without a message.
      {k1P + "\n" + blanks + "\n" + k1P + "\n" + Card2P(2, 10).replace(14, 17, "  NOT AN EPOCH   "),
       Outcome(0, Totals(1, 0, 1), {}, 0)}};
  for (const auto& [content, outcome] : cases) {
    test::ResetStoreAndModes();
    ClearLines();
    const std::string path = WriteFile("cards.txt", content);
    const int32_t status = Load("  " + path);  // leading blanks of the name go
    EXPECT_EQ(Lines(0).front(), "QuorbLoadFile: Reading QUORBs from file \"" + path + "\".");
    EXPECT_EQ(Outcome(status, LastTotals(), Errors(), CountInfo(kMissing1P)), outcome) << content;
  }
  EXPECT_EQ(View(Stored(1, 10).epochDtg), "25010120000.00000");  // of the last row
}

// Files named by keyword lines, in any case, load first; a name is looked for
// beside the file that names it; one that fails stops the load.
TEST_F(Files, IncludedFiles) {
  WriteFile("Sub/MixedCase.TXT", CardSet(11, 10));
  WriteFile("Sub/Other.dat", CardSet(12, 10));
  WriteFile("rejected.txt", CardSet(2, 10) + Rejected(3, 10));
  const std::string top = WriteFile(
      "top.txt", "vecfil = Sub/MixedCase.TXT\r\nSatFil \"Sub/Other.dat\"\n" + CardSet(13, 10));
  EXPECT_EQ(Load(top), 0);
  EXPECT_EQ(LastTotals(), Totals(3, 0, 0));
  EXPECT_EQ(Stored(11, 10).satNum, 11);

  const std::string missing = WriteFile(
      "top1.txt",
      "VECFIL = Sub/Other.dat\nELTFIL = nowhere.txt\nVECFIL = rejected.txt\n" + CardSet(4, 10));
  const std::string rejected = WriteFile(
      "top2.txt", "VECTORFILE = rejected.txt\nELSETFILE = nowhere.txt\n" + CardSet(4, 10));
  for (const std::string& path : {missing, rejected, (dir_ / "none.txt").string(), dir_.string()}) {
    test::ResetStoreAndModes();
    ClearLines();
    EXPECT_EQ(Load(path), 2) << path;
    EXPECT_EQ(LastTotals(), "") << path;
  }
  EXPECT_EQ(Errors().back(), "FileOpen: Cannot open file \"" + dir_.string() + "\".");
  EXPECT_EQ(Stored(4, 10).satNum, -123);
}

// A file of several megabytes is searched for keywords in two parts at once:
// wherever the parts meet, its included files load in the order of its lines,
// and its lines keep their numbers.
TEST_F(Files, KeywordsOfALargeFileActInTheirOrder) {
  constexpr int kLines = 54'000;  // of 81 bytes, past the size searched in two parts
  const auto isKeywordLine = [](int line) {
    return line % 1000 == 0 || std::abs(line - kLines / 2) <= 3;
  };
  std::string top;
  std::vector<int32_t> includedSats;
  for (int line = 1; line < kLines; ++line) {
    std::string text = "* filler";
    if (isKeywordLine(line)) {
      const int sat = static_cast<int>(includedSats.size()) + 1;
      const std::string name = "sub" + std::to_string(sat) + ".txt";
      WriteFile(name, CardSet(sat, 10));
      text = (sat % 2 == 0 ? "VECFIL = " : "vecfil = ") + name;
      includedSats.push_back(sat);
    }
    top += text + std::string(80 - text.size(), ' ') + "\n";
  }
  test::ReportCapture report;
  EXPECT_EQ(Load(WriteFile("top.txt", top + "ELTFIL = none.txt")), 2);  // no newline at the end
  EXPECT_EQ(report.entries.at(0), "top.txt:" + std::to_string(kLines) +
                                      " not-opened FileOpen: Cannot open file \"none.txt\".");
  test::ResetStoreAndModes();
  EXPECT_EQ(Load(WriteFile("top.txt", top)), 0);
  EXPECT_EQ(LastTotals(), Totals(static_cast<int>(includedSats.size()), 0, 0));
  std::vector<int32_t> loadedSats;
  for (const int64_t key : QuorbGetTreeKeys(QUORB_ORDER_LOAD)) {
    QuorbRecord rec;
    QuorbFindRec(key, rec);
    loadedSats.push_back(rec.satNum);
  }
  EXPECT_EQ(loadedSats, includedSats);
}

// Every line that does not become a vector is reported where it is, with the
// library's reason when it gives one.
TEST_F(Files, ReportNamesEveryLineThatAddedNoVector) {
  std::string noKey = Card2P(3, 10).replace(14, 17, "  NOT AN EPOCH   ");
  std::string maneuvers;
  for (int i = 0; i <= 100; ++i) maneuvers += ManeuverCard(i) + "\n";
  WriteFile("sub.txt", Card2P(5, 10) + "\n");
  WriteFile("keyed.txt", "pos_vel_eci_satellite_number = 7\n");
  WriteFile("99999.ctl", "integrator_step_mode = 1\n");
  const std::pair<std::string, std::vector<std::string>> cases[] = {
      {"* comment\n" + Card2P(1, 10) + "\n" + k1P + "\nOTHER = 7\n" + Rejected(2, 10) +
           Card2P(2, 10) + "\n" + CardSet(2, 10) + k1P + "\n" + noKey + "\n" + k1P + "\n" +
           Card2P(4, 10).substr(0, 40) + "\n",
       {"top.txt:2 no-1P " + std::string(kMissing1P), "top.txt:3 no-2P", "top.txt:4 unrecognised",
        "top.txt:6 rejected " + kRejectedCoordSys,
        "top.txt:9 duplicate AddRecToMem: Duplicated record/key 4611686029384984896 found.",
        "top.txt:11 no-key", "top.txt:12 no-2P", "top.txt:13 unrecognised", "end 5/1/1/3 0"}},
      {CardSet(1, 10) + maneuvers,
       {"top.txt:103 maneuver-dropped Warning-ReadOnlyQUORBs: More than "
        "100 maneuver cards; the rest are ignored.",
        "end 1/1/0/0 0"}},
      {"VECFIL = sub.txt\nZYRVECFILE = keyed.txt\nZYRCTRLFILE = 99999.ctl\nELTFIL = none.txt\n",
       {"sub.txt:1 no-1P " + std::string(kMissing1P), "keyed.txt:0 keyed-unused",
        "99999.ctl:0 keyed-unused", "top.txt:4 not-opened FileOpen: Cannot open file \"none.txt\".",
        "end 2/0/0/2 2"}},
      // The keyword that starts keyed data parts a 1P card from any 2P card.
      {CardSet(1, 10) + k1P + "\nRUN_OPTION_DC_ONLY\n",
       {"top.txt:3 no-2P", "top.txt:4 keyed-unused", "end 1/1/0/0 0"}},
      {k1P + "\nPOS_VEL_ECI_STATE\npos_vel_eci_satellite_number = 7\n",
       {"top.txt:1 no-2P", "top.txt:2 keyed-unused", "end 1/0/0/1 0"}}};
  for (const auto& [content, expected] : cases) {
    test::ResetStoreAndModes();
    test::ReportCapture report;
    EXPECT_EQ(Load(WriteFile("top.txt", content)), expected.back().back() - '0');
    EXPECT_EQ(report.entries, expected) << content;
  }
  test::ReportCapture report;
  EXPECT_EQ(Load((dir_ / "gone.txt").string()), 2);
  EXPECT_EQ(report.entries,
            (std::vector<std::string>{"gone.txt:0 not-opened FileOpen: Cannot open file \"" +
                                          (dir_ / "gone.txt").string() + "\".",
                                      "end 0/0/0/0 2"}));
}

// Each open file takes a descriptor; a load gives back every one it took.
TEST_F(Files, ALoadLeavesNoFileOpen) {
  const auto openFiles = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                         std::filesystem::directory_iterator());
  };
  WriteFile("inc.txt", CardSet(1, 10));
  WriteFile("00001.ctl", "perturbation_controls = 1\n");
  const std::string top = WriteFile("top.txt", "VECFIL = inc.txt\nZYRCTRLFILE = 00001.ctl\n");
  const auto before = openFiles();
  EXPECT_EQ(Load(top), 0);
  EXPECT_EQ(Save((dir_ / "saved.txt").string()), 0);
  EXPECT_EQ(openFiles(), before);
}

TEST_F(Files, ManeuverCardsGoToTheVectorBeforeThem) {
  // Cards before the first card set go with the first vector that loads; a
  // 2P card without its 1P is no maneuver card.
  EXPECT_EQ(Load(WriteFile("a.txt", ManeuverCard(1) + "\n" + CardSet(1, 10) + ManeuverCard(2) +
                                        "\n" + Card2P(9, 10) + "\n" + ManeuverCard(3, '2') + "\n" +
                                        CardSet(2, 10) + CardSet(3, 10) + ManeuverCard(4) + "\n")),
            0);
  const QuorbRecord first = Stored(1, 10);
  EXPECT_EQ(ManeuversOf(first),
            (std::vector<std::string>{ManeuverCard(1), ManeuverCard(2), ManeuverCard(3, '2')}));
  EXPECT_EQ(Stored(2, 10).maneuvCards(), nullptr);
  EXPECT_EQ(ManeuversOf(Stored(3, 10)), std::vector<std::string>{ManeuverCard(4)});

  // Past the 100th card before a hand-over, cards are dropped with one warning.
  const std::string warning =
      "Warning-ReadOnlyQUORBs: More than 100 maneuver cards; the rest are ignored.";
  for (const int cards : {100, 101}) {
    test::ResetStoreAndModes();
    ClearLines();
    std::string content = CardSet(1, 10);
    for (int i = 0; i < cards; ++i) content += ManeuverCard(i) + "\n";
    content += CardSet(2, 10) + ManeuverCard(1000) + "\n";
    EXPECT_EQ(Load(WriteFile("b.txt", content)), 0);
    const std::vector<std::string> kept = ManeuversOf(Stored(1, 10));
    ASSERT_EQ(kept.size(), 100u);
    EXPECT_EQ(kept.back(), ManeuverCard(99));
    EXPECT_EQ(ManeuversOf(Stored(2, 10)).size(), 1u);  // the buffer started over
    EXPECT_EQ(CountInfo(warning), cards > 100 ? 1 : 0) << cards;
  }
}

TEST_F(Files, ManeuverCardsWaitForAVectorOfTheirOwnLoad) {
  ASSERT_EQ(Load(WriteFile("first.txt", CardSet(1, 10))), 0);
  DupKeyModeSet(1);
  // A duplicate answered silently is no vector of this load.
  EXPECT_EQ(Load(WriteFile("again.txt", CardSet(1, 10) + ManeuverCard(1) + "\n" + CardSet(2, 10) +
                                            ManeuverCard(2) + "\n")),
            0);
  EXPECT_EQ(LastTotals(), Totals(2, 0, 0));
  EXPECT_EQ(Stored(1, 10).numManeuvCards, 0);
  EXPECT_EQ(ManeuversOf(Stored(2, 10)),
            (std::vector<std::string>{ManeuverCard(1), ManeuverCard(2)}));
  // Cards after a rejected last card set are not handed over.
  EXPECT_EQ(Load(WriteFile("c.txt", CardSet(3, 10) + Rejected(4, 10) + ManeuverCard(3) + "\n")), 2);
  EXPECT_EQ(Stored(3, 10).numManeuvCards, 0);
  // Direct-address keyed vectors receive theirs.
  ElsetKeyModeSet(1);
  EXPECT_EQ(Load(WriteFile("d.txt", CardSet(5, 10) + ManeuverCard(5) + "\n")), 0);
  QuorbRecord rec;
  QuorbFindRec(QuorbGetSatKey(5), rec);
  EXPECT_EQ(ManeuversOf(rec), std::vector<std::string>{ManeuverCard(5)});
}

TEST_F(Files, DmaKeywordSwitchesTheKeyModeForGood) {
  EXPECT_EQ(Load(WriteFile("cards.txt", "kt_dma_on\n" + CardSet(1, 10))), 0);
  EXPECT_EQ(ElsetKeyModeGet(), 1);
  EXPECT_TRUE(IsDMA(QuorbGetSatKey(1)));
}

const std::string kControls =
    "perturbation_controls = 1\nperturbation_geopot_flag = 1\nintegrator_input_stepsize_sec = 2\n";
const std::string kVector =
    "pos_vel_eci_satellite_number = 5\npos_vel_eci_epoch_iyear = 25\npos_vel_eci_epoch_day = "
    "10.5\n";

TEST_F(Files, KeyedDataInsideAFile) {
  // Control data go to the satellite whose number begins the top file's name;
  // without a number in the name nothing gets them. The pass ends there, once
  // the maneuver cards before them are handed over. Their status, not that of
  // a rejected card set before them, is the load's.
  WriteFile("25544_ctrl.txt",
            CardSet(25544, 10) + Rejected(1, 11) + "run_option_dc_only\n" + kControls);
  EXPECT_EQ(Load(WriteFile("iss.txt", CardSet(1, 10) + ManeuverCard(1) + "\nRUN_OPTION_DC_ONLY\n" +
                                          kControls + CardSet(2, 10))),
            0);
  EXPECT_EQ(LastTotals(), Totals(1, 0, 0));
  EXPECT_EQ(ManeuversOf(Stored(1, 10)), std::vector<std::string>{ManeuverCard(1)});
  EXPECT_EQ(Load((dir_ / "25544_ctrl.txt").string()), 0);
  EXPECT_EQ(Stored(1, 10).card4p(), nullptr);
  ASSERT_NE(Stored(25544, 10).card4p(), nullptr);
  EXPECT_EQ(Stored(25544, 10).card4p()->stepSize, 120.0);
  // Keyed vector data end a file; the maneuver card before them is handed
  // over whatever was handed before.
  EXPECT_EQ(Load(WriteFile("vec.txt", CardSet(3, 10) + ManeuverCard(1) + "\n" + Rejected(4, 10) +
                                          ManeuverCard(2) + "\nPos_Vel_Eci_State\n" + kVector +
                                          CardSet(6, 10))),
            0);
  EXPECT_EQ(LastTotals(), Totals(2, 0, 1));
  EXPECT_EQ(ManeuversOf(Stored(3, 10)), std::vector<std::string>{ManeuverCard(2)});
}

// The modes by their numbers: 1 reads, 2 appends, 0 writes afresh; no other opens.
TEST_F(Files, FileOpenModesByNumber) {
  const std::string path = WriteFile("lines.txt", "first\n");
  std::string_view line;
  EXPECT_TRUE(FileOpen(4, path, 1) == 0 && UnitReadLine(4, line) && line == "first");
  EXPECT_TRUE(FileOpen(4, path, 2) == 0 && UnitWriteLine(4, "second") && UnitClose(4));
  EXPECT_EQ(test::ReadFileText(path), "first\nsecond\n");
  EXPECT_TRUE(FileOpen(4, path, 0) == 0 && UnitClose(4));
  EXPECT_EQ(test::ReadFileText(path), "");
  EXPECT_EQ(FileOpen(4, path, 3) + FileOpen(4, path, -1), 4);
}

// A saved file holds a header and the card sets in key order, and loads back.
TEST_F(Files, SavedFiles) {
  const std::string header = "\n\n\n*** Orbital Elements - Quorb Vectors ***\n";
  const std::string saved = (dir_ / "saved.txt").string();
  umask(0);  // so the file keeps the permissions it is created with: read and write for all
  const std::string appended = (dir_ / "appended.txt").string();
  EXPECT_EQ(Save(saved) + Save(appended, 1), 0);  // each creates its file
  for (const std::string& path : {saved, appended}) {
    EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0666));
  }
  EXPECT_EQ(test::ReadFileText(saved), header);
  ASSERT_EQ(Load(WriteFile("cards.txt", CardSet(7, 20) + CardSet(5, 30) + CardSet(5, 10))), 0);
  EXPECT_EQ(Save(saved, 1), 0);  // appends
  const std::string cards = CardSet(5, 10) + CardSet(5, 30) + CardSet(7, 20);
  EXPECT_EQ(test::ReadFileText(saved), header + header + cards);
  EXPECT_EQ(Save("  " + saved), 0);  // replaces; blanks before the name do not count
  EXPECT_EQ(test::ReadFileText(saved), header + cards);
  EXPECT_EQ(Load(saved), 0);  // its vectors are stored already
  EXPECT_EQ(LastTotals(), Totals(0, 3, 0));

  EXPECT_EQ(Save((dir_ / "no/such/dir/x.sav").string()), 2);
  EXPECT_TRUE(Errors().back().starts_with("FileOpen: Cannot open file"));
  if (std::filesystem::exists("/dev/full")) {
    EXPECT_EQ(Save("/dev/full"), 2);
    EXPECT_EQ(Errors().back(), "QuorbSaveFile: Cannot write file \"/dev/full\".");
  }
  EXPECT_EQ(GetSatNumFrFilePath("C:\\data\\00005abc.txt") + GetSatNumFrFilePath("/d/123.x"), 4);
}

}  // namespace
}  // namespace quorb

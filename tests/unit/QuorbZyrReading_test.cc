#include "Quorb/QuorbZyrReading.h"

#include <gtest/gtest.h>

#include <string>

#include "LoadTestSupport.h"
#include "Services/Calendar.h"
#include "Services/DmaKeys.h"
#include "Services/FileUnits.h"

namespace quorb {
namespace {

constexpr int32_t kUnit = 4;

// Vector data of satellite 25544 at noon of day 123 of 2025, without extras.
const std::string kMinimalVector =
    "pos_vel_eci_satellite_number = 25544\n"
    "pos_vel_eci_epoch_iyear      = 2025\n"
    "pos_vel_eci_epoch_day        = 123.5\n";
const char* const kMinimalEpoch = "25123120000.000";

class ZyrReadingTest : public loadtest::LoadTest {
 protected:
  LoadCounts ReadVector(const std::string& content) {
    LoadCounts counts;
    EXPECT_EQ(FileOpen(kUnit, WriteFile("vector.zyr", content), kFileModeRead), 0);
    ReadZyrQuorbs(kUnit, counts);
    UnitClose(kUnit);
    return counts;
  }

  Card4pInput ReadCtrls(const std::string& content) {
    EXPECT_EQ(FileOpen(kUnit, WriteFile("ctrl.zyr", content), kFileModeRead), 0);
    const Card4pInput ctrl = ReadZyrCtrls(kUnit);
    UnitClose(kUnit);
    return ctrl;
  }

  static QuorbRecord Stored(int32_t satNum, const char* epoch) {
    QuorbRecord rec;
    QuorbFindRec(CreateSatKey(satNum, kVectorElsetType, epoch), rec);
    return rec;
  }
};

bool SameCounts(const LoadCounts& a, const LoadCounts& b) {
  return a.loaded == b.loaded && a.dup == b.dup && a.bad == b.bad;
}

TEST_F(ZyrReadingTest, VectorKeysFillTheRecordInItsUnits) {
  ElsetKeyModeSet(1);  // keyed vectors get composed keys whatever the mode
  const LoadCounts counts = ReadVector(
      "* keyed vector\n"
      "pos_vel_eci_satellite_number   = 25544\n"
      "pos_vel_eci_international_des  = 98067A\n"
      "pos_vel_eci_epoch_iyear        = 2025\n"
      "pos_vel_eci_epoch_day          = 123.5\n"
      "pos_vel_eci_balcoe_m2pkg       = 0.012\n"
      "pos_vel_eci_rad_pres_m2pkg     = 0.02\n"
      "pos_vel_eci_intrk_dr_thr_mpssq = 2.0e-6\n"
      "pos_vel_eci_element_number     = 999\n"
      "pos_vel_eci_pos_km_x           = 6524.8346\n"
      "pos_vel_eci_pos_km_y           = -1876.221\n"
      "pos_vel_eci_pos_km_z           = 253.0097\n"
      "pos_vel_eci_vel_kmpsec_x       = 7.5\n"
      "pos_vel_eci_vel_kmpsec_y       = -0.25\n"
      "pos_vel_eci_vel_kmpsec_z       = 1d0\n"
      "pos_vel_eci_epoch_rev          = 12345\n"
      "pos_vel_eci_coor_sys_2000      = 1\n"
      "pos_vel_eci_coor_sys_date      = 0\n"
      "covariance_weighted_rms        = 1.5\n"
      "\n"
      "an unknown line\n");
  EXPECT_TRUE(SameCounts(counts, {1, 0, 0}));
  const int64_t key = QuorbSatKeyGet(25544);
  EXPECT_EQ(key, CreateSatKey(25544, kVectorElsetType, kMinimalEpoch));
  EXPECT_FALSE(IsDMA(key));

  QuorbRecord rec;
  QuorbFindRec(key, rec);
  EXPECT_EQ(View(rec.intlDesig), "98067A  ");
  EXPECT_EQ(View(rec.epochDtg), std::string(kMinimalEpoch) + "  ");
  EXPECT_EQ(rec.bTerm, 0.012);
  EXPECT_EQ(rec.agom, 0.02);
  EXPECT_DOUBLE_EQ(rec.inTrackThrust, 2.0e-9);
  EXPECT_EQ(rec.elsetNum, 999);
  EXPECT_EQ(rec.pos[0], 6524.8346);
  EXPECT_EQ(rec.pos[1], -1876.221);
  EXPECT_EQ(rec.pos[2], 253.0097);
  EXPECT_EQ(rec.vel[0], 7500.0);
  EXPECT_EQ(rec.vel[1], -250.0);
  EXPECT_EQ(rec.vel[2], 1000.0);
  EXPECT_EQ(rec.revNum, 12345);
  EXPECT_EQ(View(rec.coordSys), "MMJ2K");
  EXPECT_EQ(rec.weightedRms, 1.5);
  EXPECT_EQ(rec.covMatrix, nullptr);
  EXPECT_EQ(rec.maneuvCards, nullptr);
}

TEST_F(ZyrReadingTest, CovarianceNeedsMagnitude) {
  ReadVector(kMinimalVector + "covariance_matrix(01) = 1.0e-30\n");
  EXPECT_EQ(Stored(25544, kMinimalEpoch).covMatrix, nullptr);
  QuorbEmptyTree();

  ReadVector(kMinimalVector +
             "covariance_matrix(01) = 1.0e-6\n"
             "covariance_matrix(28) = -2.5\n"
             "covariance_matrix(29) = 9.0\n"
             "covariance_matrix(00) = 9.0\n"
             "covariance_matrix(3)  = 4.0\n");  // one digit, ')' in column 20
  const QuorbRecord rec = Stored(25544, kMinimalEpoch);
  ASSERT_NE(rec.covMatrix, nullptr);
  CovMatrix expected{};
  expected[0] = 1.0e-6;
  expected[2] = 4.0;
  expected[27] = -2.5;
  EXPECT_EQ(*rec.covMatrix, expected);
}

TEST_F(ZyrReadingTest, SameVectorTwiceIsDup) {
  EXPECT_TRUE(SameCounts(ReadVector(kMinimalVector), {1, 0, 0}));
  EXPECT_TRUE(SameCounts(ReadVector(kMinimalVector), {0, 1, 0}));
  EXPECT_EQ(QuorbGetNumOfTreeNodes(), 1);
}

TEST_F(ZyrReadingTest, VectorWithoutAnEpochIsBad) {
  EXPECT_TRUE(SameCounts(ReadVector("pos_vel_eci_satellite_number = 1\n"
                                    "pos_vel_eci_epoch_day = 10.5\n"),
                         {0, 0, 1}));
  EXPECT_TRUE(SameCounts(ReadVector("pos_vel_eci_satellite_number = 1\n"
                                    "pos_vel_eci_epoch_iyear = 2025\n"
                                    "pos_vel_eci_epoch_day = no number\n"),
                         {0, 0, 1}));
  // Upper-case keys are not keys.
  EXPECT_TRUE(SameCounts(ReadVector("pos_vel_eci_satellite_number = 1\n"
                                    "POS_VEL_ECI_EPOCH_IYEAR = 2025\n"
                                    "pos_vel_eci_epoch_day = 10.5\n"),
                         {0, 0, 1}));
  // An epoch the calendar cannot write gives no key.
  EXPECT_TRUE(SameCounts(ReadVector("pos_vel_eci_epoch_iyear = 2300\n"
                                    "pos_vel_eci_epoch_day = 10.5\n"),
                         {0, 0, 1}));
  EXPECT_EQ(QuorbGetNumOfTreeNodes(), 0);
}

TEST_F(ZyrReadingTest, ValuesWithoutANumberChangeNothing) {
  ReadVector(kMinimalVector +
             "pos_vel_eci_pos_km_x = 42\n"
             "pos_vel_eci_pos_km_x = n/a\n"
             "POS_VEL_ECI_POS_KM_Y = 42\n"
             "pos_vel_eci_epoch_rev =\n");
  const QuorbRecord rec = Stored(25544, kMinimalEpoch);
  EXPECT_EQ(rec.pos[0], 42.0);
  EXPECT_EQ(rec.pos[1], 0.0);
  EXPECT_EQ(rec.revNum, 0);
}

TEST_F(ZyrReadingTest, ManeuverCardsGoWithTheVector) {
  ReadVector(loadtest::ManeuverCard(1) + "\n" + kMinimalVector + loadtest::ManeuverCard(2, '9') +
             "\n");
  const QuorbRecord rec = Stored(25544, kMinimalEpoch);
  ASSERT_NE(rec.maneuvCards, nullptr);
  EXPECT_EQ(rec.numManeuvCards, 2);
  EXPECT_EQ(TrimRight(View((*rec.maneuvCards)[1])), loadtest::ManeuverCard(2, '9'));
  EXPECT_TRUE(IsBlank(View((*rec.maneuvCards)[2])));
}

TEST_F(ZyrReadingTest, PerturbationSwitchLastsAcrossReads) {
  const std::string geopotOnly = "perturbation_geopot_flag = 1\n";
  ReadCtrls("perturbation_controls = 0\n");
  EXPECT_EQ(ReadCtrls(geopotOnly).geopotFlag, 0);
  ReadCtrls("perturbation_controls = 1\n");
  EXPECT_EQ(ReadCtrls(geopotOnly).geopotFlag, 1);
  // A later 0 does not clear a flag, and a value without a number keeps the switch.
  EXPECT_EQ(ReadCtrls(geopotOnly + "perturbation_geopot_flag = 0\n"
                                   "perturbation_controls = none\n")
                .geopotFlag,
            1);
  EXPECT_EQ(ReadCtrls(geopotOnly).geopotFlag, 1);
  ReadCtrls("perturbation_controls = 2\n");
  EXPECT_EQ(ReadCtrls(geopotOnly).geopotFlag, 0);
}

TEST_F(ZyrReadingTest, FlagsFollowThePerturbationSwitch) {
  const std::string flags =
      "perturbation_searth_tides_flag = 1\n"
      "perturbation_rad_pres_flag     = 1\n"
      "perturbation_lunar_solar_flag  = 1\n"
      "perturbation_intrk_dur_thrust  = 1\n"
      "perturbation_flux_file_flag    = 1\n";
  const Card4pInput off = ReadCtrls("perturbation_controls = 0\n" + flags);
  EXPECT_EQ(off.sEarthTidesFlag + off.radPresFlag + off.lunarSolarFlag + off.intrkThrustFlag, 0);
  const Card4pInput on = ReadCtrls("perturbation_controls = 1\n" + flags);
  EXPECT_EQ(on.sEarthTidesFlag, 1);
  EXPECT_EQ(on.radPresFlag, 1);
  EXPECT_EQ(on.lunarSolarFlag, 1);
  EXPECT_EQ(on.intrkThrustFlag, 1);
}

TEST_F(ZyrReadingTest, DragModelRules) {
  const std::string dragOn = "perturbation_controls = 1\nperturbation_drag_flag = 1\n";
  EXPECT_EQ(ReadCtrls("perturbation_jbhsgi_flag = 1\n").dragModel, 4);
  EXPECT_EQ(ReadCtrls(dragOn + "perturbation_jbhsgi_flag = 1\n"
                               "perturbation_j70dca_file_flag = 1\n"
                               "perturbation_atmos_j70dca = 1\n")
                .dragModel,
            4);
  EXPECT_EQ(ReadCtrls(dragOn + "perturbation_jbhsgi_flag = 1\n"
                               "perturbation_atmos_j70_msis90 = 1\n")
                .dragModel,
            2);
  EXPECT_EQ(ReadCtrls(dragOn + "perturbation_j70dca_file_flag = 1\n"
                               "perturbation_atmos_j70dca = 1\n")
                .dragModel,
            3);
  // Without the j70dca file the j70dca model is not taken.
  EXPECT_EQ(ReadCtrls(dragOn + "perturbation_atmos_j70dca = 1\n").dragModel, 0);
  // The atmosphere rows count only while drag and perturbations are on.
  EXPECT_EQ(ReadCtrls("perturbation_controls = 1\n"
                      "perturbation_drag_flag = 0\n"
                      "perturbation_atmos_j70_msis90 = 1\n")
                .dragModel,
            0);
  EXPECT_EQ(ReadCtrls("perturbation_controls = 0\n"
                      "perturbation_drag_flag = 1\n"
                      "perturbation_atmos_j70_msis90 = 1\n")
                .dragModel,
            0);
  EXPECT_EQ(ReadCtrls(dragOn + "perturbation_controls = 0\n"
                               "perturbation_atmos_j70_msis90 = 1\n")
                .dragModel,
            0);
  // The drag switch is decided when its key is read.
  EXPECT_EQ(ReadCtrls("perturbation_controls = 0\n"
                      "perturbation_drag_flag = 1\n"
                      "perturbation_controls = 1\n"
                      "perturbation_atmos_j70_msis90 = 1\n")
                .dragModel,
            0);
}

TEST_F(ZyrReadingTest, LastKeyOfAGroupWins) {
  const Card4pInput c = ReadCtrls(
      "perturbation_nut_50_terms = 1\n"
      "perturbation_nut_4_terms  = 1\n"
      "integrator_s_int_flag     = 1\n"
      "integrator_fix_step_flag  = 1\n");
  EXPECT_EQ(c.nutTerms, 4);
  EXPECT_EQ(c.integVar, 2);
  EXPECT_EQ(c.stepMode, 1);
  const Card4pInput d = ReadCtrls(
      "perturbation_nut_tarmek     = 1\n"
      "perturbation_nut_full_terms = 1\n"
      "perturbation_nut_50_terms   = 0\n"
      "integrator_time_int_flag    = 1\n"
      "integrator_fix_step_flag    = 1\n"
      "integrator_var_step_flag    = 1\n");
  EXPECT_EQ(d.nutTerms, 106);
  EXPECT_EQ(d.integVar, 1);
  EXPECT_EQ(d.stepMode, 0);
}

TEST_F(ZyrReadingTest, NumericControls) {
  const Card4pInput c = ReadCtrls(
      "perturbation_constant_f10   = 150.9\n"
      "perturbation_constant_f10bar= 140.2\n"
      "perturbation_constant_ap    = -15.7\n"
      "perturbation_geopot_zonal_deg = 36\n"
      "integrator_error_control = 1e-8\n"
      "integrator_input_stepsize_sec = 2\n");
  EXPECT_EQ(c.f10, 150);
  EXPECT_EQ(c.f10Bar, 140);
  EXPECT_EQ(c.ap, -15);
  EXPECT_EQ(c.geopotZonalDeg, 36);
  EXPECT_EQ(c.errCtrlExp, 8);
  EXPECT_EQ(c.stepSize, 120.0);

  // "perturbation_constant_f10" needs blanks in columns 26 to 28.
  EXPECT_EQ(ReadCtrls("perturbation_constant_f10= 150\n").f10, 0);
}

TEST_F(ZyrReadingTest, ErrorControlWithoutAnExponentKeepsTheDefault) {
  EXPECT_EQ(ReadCtrls("").errCtrlExp, 10);
  EXPECT_EQ(ReadCtrls("integrator_error_control = 0\n").errCtrlExp, 10);
  EXPECT_EQ(ReadCtrls("integrator_error_control = -1e-8\n").errCtrlExp, 10);
  EXPECT_EQ(ReadCtrls("integrator_error_control = 1e999\n").errCtrlExp, 10);
  EXPECT_EQ(ReadCtrls("integrator_error_control = 1e-12\n").errCtrlExp, 12);
  EXPECT_EQ(ReadCtrls("integrator_error_control = 1e300\n").errCtrlExp, -300);
  EXPECT_EQ(ReadCtrls("perturbation_constant_f10bar = 1e30\n").f10Bar, 0);
}

TEST_F(ZyrReadingTest, FixedControlsAreAlwaysSet) {
  const Card4pInput c = ReadCtrls("* nothing but a comment\n");
  Card4pInput expected;
  expected.ctrl1 = expected.ctrl2 = expected.ctrl3 = 1;
  expected.ctrl4 = 12;
  EXPECT_EQ(c, expected);
}

TEST(CheckField, ComparesTheKeyAndReadsToColumn128) {
  std::string line = "perturbation_constant_ap = 12.5";
  EXPECT_EQ(CheckFieldNum(line, "perturbation_constant_ap"), 12.5);
  EXPECT_EQ(CheckFieldNum(line, "perturbation_constant_f10bar"), 123456789.0);
  EXPECT_EQ(TrimRight(View(CheckFieldStr("run_name = \"first run\"  ", "run_name"))),
            "\"first run\"");
  EXPECT_TRUE(IsBlank(View(CheckFieldStr(line, "run_name"))));

  line = "key" + std::string(124, ' ') + "7" + "9";  // the 9 is in column 129
  EXPECT_EQ(CheckFieldNum(line, "key"), 7.0);
}

}  // namespace
}  // namespace quorb

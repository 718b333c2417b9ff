// Keyed vector and control data: one key and its value per line, in the
// columns each kind of value may use.

#include <cstddef>
#include <cstring>

#include "Quorb/QuorbTree.h"
#include "Quorb/QuorbZyrReading.h"
#include "Services/Calendar.h"
#include "Services/FileUnits.h"
#include "support/StoreTest.h"

namespace quorb {
namespace {

using namespace std::string_literals;
using test::Totals;

// Satellite 25544 at noon of day 123 of 2025, without extras.
const std::string kMinimal =
    "pos_vel_eci_satellite_number = 25544\n"
    "pos_vel_eci_epoch_iyear      = 2025\n"
    "pos_vel_eci_epoch_day        = 123.5\n";
const char* const kMinimalEpoch = "25123120000.000";

// key, then value starting at column.
std::string At(std::string key, std::size_t column, const std::string& value) {
  key.resize(column - 1, ' ');
  return key + value + "\n";
}

class KeyedData : public test::StoreTest {
 protected:
  // Loads keyed vector data as a file of their own; returns the totals line.
  std::string LoadVector(const std::string& keyed) {
    ClearLines();
    EXPECT_EQ(Load(WriteFile("vector.txt", "POS_VEL_ECI_STATE\n" + keyed)), 0);
    return LastTotals();
  }

  static QuorbRecord Stored() {
    QuorbRecord rec;
    QuorbFindRec(CreateSatKey(25544, kVectorElsetType, kMinimalEpoch), rec);
    return rec;
  }

  Card4pInput Controls(const std::string& content) {
    EXPECT_EQ(FileOpen(4, WriteFile("ctrl.zyr", content), kFileModeRead), 0);
    const Card4pInput controls = ReadZyrCtrls(4);
    UnitClose(4);
    return controls;
  }
};

TEST_F(KeyedData, VectorKeysFillTheRecordInItsUnits) {
  ElsetKeyModeSet(1);  // keyed vectors get composed keys whatever the mode
  EXPECT_EQ(LoadVector("* keyed vector\n" + kMinimal +
                       "pos_vel_eci_international_des = 98067A\npos_vel_eci_balcoe_m2pkg = 0.012\n"
                       "pos_vel_eci_rad_pres_m2pkg = 0.02\npos_vel_eci_element_number = 999\n"
                       "pos_vel_eci_intrk_dr_thr_mpssq = 2.0e-6\npos_vel_eci_epoch_rev = 12345\n"
                       "pos_vel_eci_pos_km_x = 6524.8346\npos_vel_eci_pos_km_y = -1876.221\n"
                       "pos_vel_eci_pos_km_z = 253.0097\npos_vel_eci_vel_kmpsec_x = 7.5\n"
                       "pos_vel_eci_vel_kmpsec_y = -0.25\npos_vel_eci_vel_kmpsec_z = 1d0\n"
                       "pos_vel_eci_coor_sys_date = 1\npos_vel_eci_coor_sys_1950 = 0\n"
                       "covariance_weighted_rms = 1.5\n\nan unknown line\n"),
            Totals(1, 0, 0));
  EXPECT_EQ(QuorbGetSatKey(25544), QuorbFieldsToSatKey(25544, kMinimalEpoch));
  const QuorbRecord rec = Stored();
  EXPECT_EQ(View(rec.intlDesig), "98067A  ");
  EXPECT_EQ(View(rec.epochDtg), std::string(kMinimalEpoch) + "  ");
  EXPECT_EQ(std::make_tuple(rec.bTerm, rec.agom, rec.elsetNum, rec.revNum, rec.weightedRms),
            std::make_tuple(0.012, 0.02, 999, 12345, 1.5));
  EXPECT_DOUBLE_EQ(rec.inTrackThrust, 2.0e-9);  // m/s^2 to km/s^2
  EXPECT_EQ(std::vector<double>(rec.pos, rec.pos + 3),
            (std::vector<double>{6524.8346, -1876.221, 253.0097}));
  EXPECT_EQ(std::vector<double>(rec.vel, rec.vel + 3),
            (std::vector<double>{7500.0, -250.0, 1000.0}));  // km/s to m/s
  EXPECT_EQ(View(rec.coordSys), "TMDAT");
  EXPECT_EQ(rec.covMatrix(), nullptr);
  EXPECT_EQ(rec.maneuvCards(), nullptr);
}

// Integers and texts end at column 60, reals at column 62; a value without a
// number leaves its field as it was; keys are lower case.
TEST_F(KeyedData, ValueColumnsAndMissingValues) {
  LoadVector(kMinimal + At("pos_vel_eci_epoch_rev", 59, "1234") +
             At("pos_vel_eci_international_des", 55, "ABCDEFGH") +
             At("pos_vel_eci_pos_km_x", 58, "123456") + At("pos_vel_eci_pos_km_y", 40, "42") +
             "pos_vel_eci_pos_km_y = n/a\n"
             "POS_VEL_ECI_POS_KM_Z = 42\n"
             "pos_vel_eci_coor_sys_2000 = 1\n"
             "pos_vel_eci_element_number =\n"
             "pos_vel_eci_element_number = 123456789\n");  // the missing value itself
  const QuorbRecord rec = Stored();
  EXPECT_EQ(rec.revNum, 12);
  EXPECT_EQ(View(rec.intlDesig), "ABCDEF  ");
  EXPECT_EQ(rec.pos[0], 12345.0);
  EXPECT_EQ(rec.pos[1], 42.0);
  EXPECT_EQ(rec.pos[2], 0.0);
  EXPECT_EQ(rec.elsetNum, 0);
  EXPECT_EQ(View(rec.coordSys), "MMJ2K");
}

TEST_F(KeyedData, VectorsThatCannotBeKeyedAreBadAnEqualOneIsADuplicate) {
  for (const std::string& keyed :
       {"pos_vel_eci_satellite_number = 1\npos_vel_eci_epoch_day = 10.5\n"s,
        "pos_vel_eci_epoch_iyear = 2025\npos_vel_eci_epoch_day = no number\n"s,
        "POS_VEL_ECI_EPOCH_IYEAR = 2025\npos_vel_eci_epoch_day = 10.5\n"s,
        // Years without a two-digit form would be stored a century off.
        "pos_vel_eci_epoch_iyear = 2060\npos_vel_eci_epoch_day = 1.5\n"s,
        "pos_vel_eci_epoch_iyear = 1955\npos_vel_eci_epoch_day = 1.5\n"s,
        "pos_vel_eci_satellite_number = -5\n"
        "pos_vel_eci_epoch_iyear = 2025\npos_vel_eci_epoch_day = 10.5\n"s}) {
    EXPECT_EQ(LoadVector(keyed), Totals(0, 0, 1)) << keyed;
  }
  EXPECT_EQ(LoadVector(kMinimal), Totals(1, 0, 0));
  EXPECT_EQ(LoadVector(kMinimal), Totals(0, 1, 0));
  // Without a satellite number the vector is satellite 0's.
  EXPECT_EQ(LoadVector("pos_vel_eci_epoch_iyear = 2025\npos_vel_eci_epoch_day = 10.5\n"),
            Totals(1, 0, 0));
  EXPECT_EQ(QuorbGetSatKey(0), CreateSatKey(0, kVectorElsetType, "25010120000.000"));
}

TEST_F(KeyedData, CovarianceAndManeuverCardsGoWithTheVector) {
  LoadVector(kMinimal + "covariance_matrix(01) = 1.0e-30\n");  // too small to be one
  EXPECT_EQ(std::pair(Stored().covMatrix() == nullptr, Stored().revNum), std::pair(true, 0));
  QuorbRemoveAllSats();
  LoadVector(test::ManeuverCard(1) + "\n*" + test::ManeuverCard(3).substr(1) + "\n" + kMinimal +
             test::ManeuverCard(2, '9') + "\n" +
             "covariance_matrix(01) = 1.0e-6\ncovariance_matrix(28) = -2.5\n"
             "covariance_matrix(29) = 9.0\ncovariance_matrix(00) = 9.0\n"
             "covariance_matrix(04) = none\ncovariance_matrix(3)  = 4.0\n"  // ')' in column 20
             "covariance_matrix(052) = 5.0\n");  // the index is columns 19-20 alone
  const QuorbRecord rec = Stored();
  ASSERT_NE(rec.covMatrix(), nullptr);
  CovMatrix expected{1.0e-6, 0, 4.0, 0, 5.0};
  expected[27] = -2.5;
  EXPECT_EQ(*rec.covMatrix(), expected);
  ASSERT_EQ(rec.numManeuvCards, 2);
  EXPECT_EQ(TrimRight(View((*rec.maneuvCards())[1])), test::ManeuverCard(2, '9'));
  EXPECT_TRUE(IsBlank(View((*rec.maneuvCards())[2])));
}

// The perturbation switch lasts from one read of control data to the next:
// a later 0 does not lower a raised flag, a value without a number keeps it.
TEST_F(KeyedData, ThePerturbationSwitchLastsAcrossReads) {
  const std::string flags =
      "perturbation_geopot_flag = 1\nperturbation_searth_tides_flag = 1\n"
      "perturbation_rad_pres_flag = 1\nperturbation_lunar_solar_flag = 1\n"
      "perturbation_intrk_dur_thrust = 1\nperturbation_flux_file_flag = 1\n";
  std::string raised;
  for (const char* first : {"perturbation_controls = 0\n", "", "perturbation_controls = 1\n",
                            "perturbation_controls = none\nperturbation_geopot_flag = 0\n", "",
                            "perturbation_controls = 2\n"}) {
    const Card4pInput c = Controls(std::string(first) + flags);
    raised += std::to_string(c.geopotFlag + c.sEarthTidesFlag + c.radPresFlag + c.lunarSolarFlag +
                             c.intrkThrustFlag);
  }
  EXPECT_EQ(raised, "005550");
}

TEST_F(KeyedData, ControlRows) {
  const std::string dragOn = "perturbation_controls = 1\nperturbation_drag_flag = 1\n";
  const struct {
    std::string content;
    int32_t Card4pInput::*field;
    int32_t want;
  } cases[] = {
      {"perturbation_controls = 0\nperturbation_jbhsgi_flag = 1\n", &Card4pInput::dragModel, 4},
      {dragOn + "perturbation_jbhsgi_flag = 1\nperturbation_j70dca_file_flag = 1\n"
                "perturbation_atmos_j70dca = 1\n",
       &Card4pInput::dragModel, 4},
      {dragOn + "perturbation_jbhsgi_flag = 1\nperturbation_atmos_j70_msis90 = 1\n",
       &Card4pInput::dragModel, 2},
      {dragOn + "perturbation_j70dca_file_flag = 1\nperturbation_atmos_j70dca = 1\n",
       &Card4pInput::dragModel, 3},
      // Without the j70dca file the j70dca model is not taken.
      {dragOn + "perturbation_atmos_j70dca = 1\n", &Card4pInput::dragModel, 0},
      // The atmosphere rows count only while drag and perturbations are on,
      // and the drag switch is decided when its key is read.
      {"perturbation_controls = 1\nperturbation_drag_flag = 0\nperturbation_atmos_j70_msis90 = 1\n",
       &Card4pInput::dragModel, 0},
      {dragOn + "perturbation_controls = 0\nperturbation_atmos_j70_msis90 = 1\n",
       &Card4pInput::dragModel, 0},
      {"perturbation_controls = 0\nperturbation_drag_flag = 1\nperturbation_controls = 1\n"
       "perturbation_atmos_j70_msis90 = 1\n",
       &Card4pInput::dragModel, 0},
      // The last key of a group wins.
      {"perturbation_nut_50_terms = 1\nperturbation_nut_4_terms = 1\n", &Card4pInput::nutTerms, 4},
      {"perturbation_nut_tarmek = 1\nperturbation_nut_full_terms = 1\n", &Card4pInput::nutTerms,
       106},
      {"perturbation_nut_tarmek = 1\nperturbation_nut_50_terms = 1\n", &Card4pInput::nutTerms, 50},
      {"integrator_s_int_flag = 1\nintegrator_time_int_flag = 1\n", &Card4pInput::integVar, 1},
      {"integrator_time_int_flag = 1\nintegrator_s_int_flag = 1\n", &Card4pInput::integVar, 2},
      {"integrator_fix_step_flag = 1\n", &Card4pInput::stepMode, 1},
      {"integrator_error_control = none\n", &Card4pInput::stepMode, 0},
      {"integrator_fix_step_flag = 1\nintegrator_var_step_flag = 1\n", &Card4pInput::stepMode, 0},
      // Numbers are truncated; one past 32 bits changes nothing.
      {"perturbation_constant_f10    = 150.9\n", &Card4pInput::f10, 150},
      {"perturbation_constant_f10= 150\n", &Card4pInput::f10, 0},  // needs the blanks
      {"perturbation_constant_f10bar = 1e30\n", &Card4pInput::f10Bar, 0},
      {"perturbation_constant_ap = -15.7\n", &Card4pInput::ap, -15},
      {"perturbation_geopot_zonal_deg = 36\n", &Card4pInput::geopotZonalDeg, 36},
      // 10^-errCtrlExp bounds the error; a bound without an exponent changes nothing.
      {"integrator_error_control = 1e-8\n", &Card4pInput::errCtrlExp, 8},
      {"integrator_error_control = 1e300\n", &Card4pInput::errCtrlExp, -300},
      {"integrator_error_control = 0\n", &Card4pInput::errCtrlExp, 10},
      {"integrator_error_control = -1e-8\n", &Card4pInput::errCtrlExp, 10},
      {"integrator_error_control = 1e999\n", &Card4pInput::errCtrlExp, 10}};
  for (const auto& c : cases) EXPECT_EQ(Controls(c.content).*c.field, c.want) << c.content;
  EXPECT_EQ(Controls("integrator_input_stepsize_sec = 2\n").stepSize, 120.0);  // minutes
  // And the defaults: every number 0 but controls 1 to 3 (set to 1), control
  // 4 at 12 and the error exponent at 10; blank texts.
  Card4pInput fixed;
  std::memset(static_cast<void*>(&fixed), 0, offsetof(Card4pInput, ctrlText1));
  fixed.ctrl1 = fixed.ctrl2 = fixed.ctrl3 = 1;
  fixed.ctrl4 = 12;
  fixed.errCtrlExp = 10;
  EXPECT_EQ(Controls("* nothing but a comment\n"), fixed);
}

TEST(KeyedFields, KeyThenValueUpToColumn128) {
  EXPECT_EQ(CheckFieldNum("key" + std::string(124, ' ') + "79", "key"), 7.0);  // 9 in column 129
  EXPECT_EQ(CheckFieldNum("ap = 12.5", "f10") + CheckFieldNum("ap = 12.5", "ap"), 123456801.5);
  EXPECT_EQ(std::string(View(CheckFieldStr("run = \"first run\"  ", "run"))).substr(0, 13) +
                std::string(TrimRight(View(CheckFieldStr("ap = 1", "run")))),
            "\"first run\"  ");
}

}  // namespace
}  // namespace quorb

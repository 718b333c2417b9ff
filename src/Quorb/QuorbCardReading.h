// Card sets: the 1P card (position, velocity) and the 2P card (identity,
// epoch, force-model terms), 80 columns each inside 512-character lines.
#ifndef QUORB_QUORB_QUORBCARDREADING_H_
#define QUORB_QUORB_QUORBCARDREADING_H_

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Quorb/QuorbTypes.h"
#include "Services/FixedText.h"

namespace quorb {

// Codes of QuorbCardType.
inline constexpr int32_t kCard1P = 2;
// VECFIL, VECTORFILE, ELTFIL, ELSETFILE or SATFIL: names a card-set file.
inline constexpr int32_t kCardFileKeyword = 3;
inline constexpr int32_t kCard2P = 4;
// ("Zyr" marks keyed data, Quorb/QuorbZyrReading.h.)
inline constexpr int32_t kCardZyrVecFile = 5;   // ZYRVECFILE: names a keyed vector file
inline constexpr int32_t kCardZyrVecData = 6;   // POS_VEL_ECI_STATE: keyed vector data follow
inline constexpr int32_t kCardZyrCtrlFile = 7;  // ZYRCTRLFILE: names a keyed control file
inline constexpr int32_t kCardZyrCtrlData = 8;  // RUN_OPTION_DC_ONLY: keyed controls follow
inline constexpr int32_t kCardDmaOn = 9;        // KT_DMA_ON: direct-address keys from here on
inline constexpr int32_t kCardOther = 100;

// Columns of a card; a card line holds them within its 512 characters.
inline constexpr std::size_t kCardColumns = 80;

// Classifies one line (columns past its end count as blanks).
int32_t QuorbCardType(std::string_view line);

// QuorbCardType of the line upper-cased, as the loaders classify their
// lines: keywords count in any letter case.
int32_t QuorbCardTypeAnyCase(std::string_view line);

// False when the line cannot be a keyword line, whatever its card columns:
// its first character is no keyword's first letter in either case.
bool BeginsLikeKeyword(std::string_view line);
// The same test for a line's first character.
bool BeginsKeyword(char first);

// Writes rec as a card set. Every value has a written form: one too wide for
// its columns fills them with asterisks.
void Quorb2Lines(const QuorbRecord& rec, Line& line1, Line& line2);

// Reads a card set into rec and validates it. Returns 0, or 2 after logging
// why; after a failure rec's card fields are not to be trusted.
int32_t Lines2Quorb(const Line& line1, const Line& line2, QuorbRecord& rec);

// Lines2Quorb without the validation: only the cards' form and fields.
int32_t ReadCardSetFields(const Line& line1, const Line& line2, QuorbRecord& rec);

// ReadCardSetFields for lines that QuorbCardType already told to be a 1P
// and a 2P card, into a record without optional parts (the reading side's
// records never get any).
int32_t ReadCardFields(const Line& line1, const Line& line2, QuorbRecord& rec);

// A 32-character sortable label: satNum in 9 digits, then the epoch in days
// since 1950 with 9 decimals right-aligned in 16 columns, then 7 blanks.
Text<32> FieldsToStr(const QuorbRecord& rec);

}  // namespace quorb

#endif  // QUORB_QUORB_QUORBCARDREADING_H_

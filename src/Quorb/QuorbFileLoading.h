// Loading input files into the store and saving the store as card sets.
//
// A load runs two passes over the named file. The keyword pass follows the
// lines that name further files (card-set files, keyed vector files, keyed
// control files; one level deep) and "KT_DMA_ON". The card pass then reads
// the file's own card sets, maneuver cards and trailing keyed data. One
// line "Total Quorbs = N, Loaded = N, Dup = N, Bad = N" ends the load.
//
// Maneuver cards go to the vector stored before them, at most 100 per
// vector: further cards before the next hand-over are ignored, with one
// warning line "Warning-ReadOnlyQUORBs: More than 100 maneuver cards; ...".
//
// Card passes of loads on different threads run one after the other (the
// critical section cs_readonlyquorbs); each thread has its own file units.
// A large file's card pass reads ahead on a second thread (Quorb/CardPass.h).
#ifndef QUORB_QUORB_QUORBFILELOADING_H_
#define QUORB_QUORB_QUORBFILELOADING_H_

#include <cstdint>
#include <string_view>

#include "Quorb/LoadCounts.h"
#include "Services/FixedText.h"

namespace quorb {

inline constexpr int32_t kTopFileUnit = 3;       // the file named to the load
inline constexpr int32_t kIncludedFileUnit = 4;  // a file named by a keyword line
inline constexpr int32_t kSaveFileUnit = 8;

// Loads the file named by fileName (leading blanks ignored). Returns 0, 2
// when the last card set read was rejected, or the status of a file that
// could not be opened (the load then stops; what it added stays).
int32_t QuorbLoadFileText(const Line& fileName);

// Writes three empty lines, the header "*** Orbital Elements - Quorb
// Vectors ***" and every stored vector's card set in ascending key order.
// saveMode 0 replaces the file, any other value appends to it. Returns 0,
// the status of a file that could not be opened, or 2 after logging
// "QuorbSaveFile: Cannot write file ..." when a line could not be written.
int32_t QuorbSaveFileText(const Line& fileName, int32_t saveMode);

// Opens path on unit 3, runs both passes over it and closes it; counts are
// the load's, also when it stops early.
int32_t ReadQuorbsFrFile(std::string_view path, LoadCounts& counts);

// The keyword pass and then the card pass over a unit just opened; path is the
// file's name, beside which relative names on keyword lines are also looked
// for. A keyword-named file that cannot be opened or whose pass ends with a
// non-zero status stops the load at once, without the totals line.
int32_t ReadQuorbsFrFileUnit(int32_t unit, std::string_view path, LoadCounts& counts);

// One card pass over an open unit (not read-only: it stores the vectors it
// reads), adding to counts. topPath is the path of the file named to the
// load, also when the unit holds an included file (keyed control data take
// their satellite number from it); unitPath is the unit's own. Returns the
// status of the last card set read (0, or 2 when it was rejected), or that
// of the keyed data that end the unit.
int32_t ReadOnlyQuorbs(std::string_view topPath, std::string_view unitPath, int32_t unit,
                       LoadCounts& counts);

// The satellite number written in the first five characters of the file
// name in path (after the last '/' or '\'), or -1 when they are not one.
int32_t GetSatNumFrFilePath(std::string_view path);

// Writes the card set of every stored vector to an open unit, each card as
// its 80 columns without trailing blanks, under one read of the store.
// Returns false when a line could not be written.
bool QuorbWriteLines(int32_t unit);

// "ValidateQuorbValues: Reset invalid NAME to a valid value.", blank-padded.
Text<128> CreateInfoMsg(std::string_view name);

}  // namespace quorb

#endif  // QUORB_QUORB_QUORBFILELOADING_H_

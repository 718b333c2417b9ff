// File units: files opened by number, one unit table per thread, so that
// loads running on different threads never share a unit.
#ifndef QUORB_SERVICES_FILEUNITS_H_
#define QUORB_SERVICES_FILEUNITS_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Services/FixedText.h"

namespace quorb {

inline constexpr int32_t kFileModeWrite = 0;   // create or truncate
inline constexpr int32_t kFileModeRead = 1;    // an existing regular file
inline constexpr int32_t kFileModeAppend = 2;  // append, creating when missing

// Opens the named file (trailing blanks of name ignored) on the calling
// thread's unit, closing whatever that unit had open. Returns 0, or 2 after
// logging "FileOpen: Cannot open file \"NAME\".".
int32_t FileOpen(int32_t unit, std::string_view name, int32_t mode);

// Reads the next line of a unit open for reading into line: at most 512
// characters, a trailing carriage return dropped, blank-padded; the rest of
// a longer line is skipped. Returns false at end of file, on a read error or
// when the unit is not open for reading.
bool UnitReadLine(int32_t unit, Line& line);

// The same line as a view of the unit's buffer, without the blank padding:
// valid until the next read or close of that unit on this thread.
bool UnitReadLine(int32_t unit, std::string_view& line);

// A unit's reading side, for a thread that reads on behalf of the unit's
// owner: nullptr when the unit is not open for reading on this thread.
// Valid until the unit is closed or opened again; while another thread reads
// through it, the owner must leave the unit alone.
class Unit;
Unit* UnitForReading(int32_t unit);

// UnitReadLine's view form, through that object.
bool UnitReadLine(Unit& unit, std::string_view& line);

// A line that a search found, and its number in its unit.
struct NumberedLine {
  int32_t number;
  std::string text;
};

// What UnitFindLines looks for: lines whose first character passes the
// first test (a glance that passes most lines over) and the whole line the
// second.
struct LineSearch {
  bool (*firstCharacter)(char);
  bool (*wholeLine)(std::string_view);
};

// The lines of a unit's file that search finds, in order, each as
// UnitReadLine gives it, from the first line. A large file is read in two
// parts at once, the second on a thread of its own. The unit's own reading
// stays where it was.
std::vector<NumberedLine> UnitFindLines(const Unit& unit, const LineSearch& search);

// The number of the line read last from a unit, counted from 1 since it was
// opened (0 before its first line).
int32_t UnitLineNumber(const Unit& unit);
// The size of the unit's file in bytes; 0 when it is no regular file.
std::size_t UnitBytes(const Unit& unit);

// Writes text and a newline to a unit open for writing. Returns false on a
// write error or when the unit is not open for writing.
bool UnitWriteLine(int32_t unit, std::string_view text);

// Closes the unit (flushing what was written); closing a closed unit does
// nothing. Returns false when buffered output could not be written.
bool UnitClose(int32_t unit);

}  // namespace quorb

#endif  // QUORB_SERVICES_FILEUNITS_H_

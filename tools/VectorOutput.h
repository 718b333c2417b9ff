// The stored vectors as the command prints them: a table for people, CSV or
// JSON with every scalar field for programs.
#ifndef QUORB_TOOLS_VECTOROUTPUT_H_
#define QUORB_TOOLS_VECTOROUTPUT_H_

#include <cstdint>
#include <ostream>

namespace quorb_cli {

enum class VectorFormat { kTable, kCsv, kJson };

// Prints every stored vector, in the key order the library's QuorbGetLoaded
// takes (0 satellite number and epoch, 1 reverse, 2 load order, other values
// ascending key).
void PrintStore(std::ostream& out, int32_t order, VectorFormat format);

}  // namespace quorb_cli

#endif  // QUORB_TOOLS_VECTOROUTPUT_H_

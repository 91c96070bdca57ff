#include <korvane/process/Operand.h>

namespace Korvane {

// Defined here so that the records' type information lives in the library.
Operand::~Operand() = default;

}  // namespace Korvane

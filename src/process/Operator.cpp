#include <korvane/process/Operator.h>

namespace Korvane {

Operator::Operator() : BufferSlotInterface("Operator") {}

Operator::Operator(const Operator& other) : BufferSlotInterface(other) {}

Operator::~Operator() = default;

}  // namespace Korvane

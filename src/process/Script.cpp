#include <korvane/process/Script.h>

namespace Korvane {

Script::Script() : ProcessInterface("Script") {}

Script::Script(const Script& other) : ProcessInterface(other) {}

Script::~Script() = default;

}  // namespace Korvane

#include <korvane/core/Object.h>

namespace Korvane {

// PropertyInterface already copies deeply under the source's lock and assigns in the
// lock order documented for Object.
Object::Object() = default;
Object::Object(const Object& other) = default;
Object& Object::operator=(const Object& other) = default;
Object::~Object() = default;

}  // namespace Korvane

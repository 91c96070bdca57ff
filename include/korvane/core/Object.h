#pragma once
// Object is a free-standing property bag: the element of object buffers and of
// motion command queues. Whoever fills one declares its properties directly through
// the public addProperty and eraseProperty; readers use the ordinary typed getters.
//
// Copies are deep: new records with every field of the source's, read under the
// source's lock. Assignment locks the target and then the source, so two threads must
// not assign two objects to each other crosswise at the same time.

#include <korvane/core/Export.h>
#include <korvane/core/PropertyInterface.h>

namespace Korvane {

class KORVANE_API Object : public PropertyInterface {
public:
    Object();
    Object(const Object& other);
    // Destroys all of this object's records, then copies the source's; assigning an
    // object to itself leaves it unchanged.
    Object& operator=(const Object& other);
    ~Object() override;

    using PropertyInterface::addProperty;
    using PropertyInterface::eraseProperty;
};

}  // namespace Korvane

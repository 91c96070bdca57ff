#include <korvane/devices/Display.h>

namespace Korvane {

namespace {

constexpr char widthProperty[] = "Width";
constexpr char heightProperty[] = "Height";
constexpr char captionProperty[] = "Caption";

const PropertyText& widthDescription() {
    static const PropertyText text =
        PropertyText::permanent("Width of the bitmap client rectangle.");
    return text;
}

const PropertyText& heightDescription() {
    static const PropertyText text =
        PropertyText::permanent("Height of the bitmap client rectangle.");
    return text;
}

const PropertyText& captionDescription() {
    static const PropertyText text = PropertyText::permanent("Window caption text.");
    return text;
}

}  // namespace

Display::Display(unsigned int width, unsigned int height) : ProcessInterface("Display") {
    addProperty(widthProperty, width, uint32_property, read_access, 0, widthDescription());
    addProperty(heightProperty, height, uint32_property, read_access, 0, heightDescription());
    addProperty(captionProperty, std::string(), string_property, read_write_access, 0,
                captionDescription());
}

Display::~Display() = default;

unsigned int Display::width() const {
    unsigned int value = 0;
    getPropertyForce(widthProperty, &value);
    return value;
}

unsigned int Display::height() const {
    unsigned int value = 0;
    getPropertyForce(heightProperty, &value);
    return value;
}

std::string Display::caption() const {
    std::string value;
    getPropertyForce(captionProperty, &value);
    return value;
}

}  // namespace Korvane

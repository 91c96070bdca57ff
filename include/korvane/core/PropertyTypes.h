#pragma once
// Codes of property types and access rights. A type code is a class bit (0x20
// signed, 0x40 unsigned, 0x80 floating, 0x100 text) plus a small index; operations
// test the class bit and only range checks look at whole codes.

namespace Korvane {

enum PropertyType : unsigned int {
    invalid_property = 0,
    signed_class = 0x20,
    int8_property = 0x21,
    int16_property = 0x22,
    int32_property = 0x23,
    int64_property = 0x24,
    unsigned_class = 0x40,
    bool_property = 0x41,
    uint8_property = 0x42,
    uint16_property = 0x43,
    uint32_property = 0x44,
    uint64_property = 0x45,
    enum_property = 0x46,
    floating_class = 0x80,
    float_property = 0x81,  // single precision; 0x81 follows the numbering of the other classes
    double_property = 0x82,
    string_class = 0x100,
    string_property = 0x101,
};

enum AccessType : unsigned int {
    not_set = 0,
    read_access = 1,
    write_access = 2,
    read_write_access = 3,
};

// True when type carries the given class bit.
constexpr bool hasClass(unsigned int type, PropertyType typeClass) {
    return (type & typeClass) != 0;
}

}  // namespace Korvane

#pragma once
// Shared by the buffer and slot tests: a fixture that releases every buffer a test
// left in the BufferManager singleton, and reading a property as text.

#include <gtest/gtest.h>
#include <korvane/buffers/BufferManager.h>
#include <korvane/core/PropertyInterface.h>

#include <string>

namespace KorvaneTest {

class BufferManagerFixture : public ::testing::Test {
protected:
    void TearDown() override {
        for (const std::string& name : manager->instanceList()) {
            manager->releaseInstance(name.c_str());
        }
    }

    Korvane::BufferManager* manager = Korvane::BufferManager::get();
};

// A property's value as text (an enumeration's item name); empty when unreadable.
inline std::string textOf(const Korvane::PropertyInterface& object, const std::string& name) {
    std::string value;
    object.getProperty(name, &value);
    return value;
}

}  // namespace KorvaneTest

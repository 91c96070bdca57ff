#pragma once
// A temporary directory for a test, removed with everything in it at scope exit.

#include <string>

namespace KorvaneTest {

class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    // The directory, without a trailing separator.
    const std::string& path() const { return m_path; }
    // path() + "/" + name.
    std::string file(const std::string& name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

// The whole contents of a file, read as bytes; empty when it cannot be read.
std::string readFile(const std::string& path);

}  // namespace KorvaneTest

#pragma once
// Dir holds a directory path taken apart into a drive letter and directory names and
// builds it again, tells whether it exists and lists its entries by wildcard pattern;
// the plug-in loader walks its directories with it. A Dir is a plain value owned by
// its caller and not shared between threads.
//
// On Linux: parsing accepts "C:" drives and both '/' and '\' as separators, so paths
// written for Windows still parse and build as before (C:\a\b\ or /C/a/b/). A path
// without a drive that begins with '/' is absolute too (it has a root) and builds as
// /a/b/ in both styles; a leading '\' without a drive stays relative. separator() and
// workingDir() use "/". Real directories are those the system names with '/', so only
// rooted paths (and /C/... built in slash style) reach the file system.
//
// Decisions: a drive is an ASCII letter followed by ':' at the start. Parsing reads
// the path up to its first NUL character (null reads as empty). A path whose directory
// part exceeds 4095 bytes, or whose file name or extension (with its dot) exceeds 259,
// does not split: the Dir is left without drive, names, file name and extension. "."
// and ".." are kept as names, never resolved. absolute() of a relative Dir appends its
// names (except ".") to the working directory and leaves the Dir unchanged when that
// cannot be read. A style other than slash_style is stored as native_style.
// workingDir() is empty when the current directory needs 512 bytes or more.
// dirList matches each entry name of the directory as bytes, case-sensitively: '*'
// stands for any run, '?' for one byte, anything else for itself ('[' and '\' too);
// "*.*" matches every name, as on Windows. The pattern is a name, not a path.

#include <korvane/core/Export.h>

#include <string>
#include <vector>

namespace Korvane {

class KORVANE_API Dir {
public:
    enum _path_style : int {
        native_style = 1,  // C:\a\b\    (drive, colon, backslashes)
        slash_style = 2,   // /C/a/b/    (the drive is the first name)
    };

    static const char* const DIR_SEPARATOR;

    // A relative Dir naming ".".
    Dir();
    explicit Dir(const char* path, _path_style style = native_style);

    // The directory in absolute form; a relative Dir is first re-parsed against the
    // working directory, which changes this object.
    std::string absolute();
    // True when a drive is set or the path began at the root "/".
    bool isAbsolute() const;
    // True when buildPath() names an existing directory (symbolic links followed).
    bool exists() const;
    // Names (not paths) of this directory's entries matching pattern, "." and ".."
    // included, in the order the system lists them; empty when buildPath() is not an
    // existing directory or cannot be opened. A read error part-way through is logged
    // and the names read until then are returned.
    std::vector<std::string> dirList(const std::string& pattern);

    _path_style pathStyle() const { return m_style; }
    void setPathStyle(_path_style style);

    static const char* separator();
    // The current directory followed by "/"; empty if it cannot be read.
    static std::string workingDir();

protected:
    // Replaces drive, root, names, file name and extension with those of path.
    void splitPath(const std::string& path);
    // The directory in the current style, ending with a separator; empty when relative.
    std::string buildPath() const;

    const std::string& drive() const { return m_drive; }
    const std::string& fileName() const { return m_fileName; }
    const std::string& extension() const { return m_extension; }
    const std::vector<std::string>& components() const { return m_components; }

private:
    std::string m_drive;                    // the letter alone; empty without a drive
    std::string m_fileName;                 // kept from parsing, never built
    std::string m_extension;                // without its dot; kept from parsing, never built
    std::vector<std::string> m_components;  // directory names from the root down
    _path_style m_style = native_style;
    bool m_rooted = false;  // no drive, but the path began with '/'
};

}  // namespace Korvane

#include <korvane/platform/Dir.h>

#include <korvane/log/LogFunctions.h>

#include "platform/Wildcard.h"

#include <dirent.h>
#include <errno.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>

namespace Korvane {

namespace {

// Room for each part, its terminating NUL included, as the Windows path splitter
// that configuration files were written for allows.
constexpr std::size_t kDirectoryRoom = 4096;
constexpr std::size_t kNameRoom = 260;

struct PathParts {
    std::string drive;      // the letter alone
    std::string directory;  // up to and including the last separator
    std::string fileName;
    std::string extension;  // with its dot
};

bool isSeparator(char c) {
    return c == '/' || c == '\\';
}

bool isDriveLetter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

// Cuts path into drive, directory, file name and extension; nothing when a part does
// not fit its room.
std::optional<PathParts> cutPath(const std::string& path) {
    PathParts parts;
    std::size_t start = 0;
    if (path.size() >= 2 && isDriveLetter(path[0]) && path[1] == ':') {
        parts.drive = path.substr(0, 1);
        start = 2;
    }
    std::size_t nameStart = start;
    for (std::size_t i = start; i < path.size(); ++i) {
        if (isSeparator(path[i])) nameStart = i + 1;
    }
    parts.directory = path.substr(start, nameStart - start);
    const std::string name = path.substr(nameStart);
    const std::size_t dot = name.rfind('.');
    parts.fileName = name.substr(0, dot);
    if (dot != std::string::npos) parts.extension = name.substr(dot);
    if (parts.directory.size() >= kDirectoryRoom || parts.fileName.size() >= kNameRoom ||
        parts.extension.size() >= kNameRoom) {
        return std::nullopt;
    }
    return parts;
}

// The names between separators; empty names (doubled separators) are skipped.
std::vector<std::string> directoryNames(const std::string& directory) {
    std::vector<std::string> names;
    std::size_t begin = 0;
    for (std::size_t i = 0; i < directory.size(); ++i) {
        if (!isSeparator(directory[i])) continue;
        if (i > begin) names.push_back(directory.substr(begin, i - begin));
        begin = i + 1;
    }
    return names;
}

bool isDirectory(const std::string& path) {
    struct stat attributes {};
    return !path.empty() && ::stat(path.c_str(), &attributes) == 0 && S_ISDIR(attributes.st_mode);
}

void logListingError(int error) {
    char message[128];
    snprintf(message, sizeof message, "FindNextFile error. Error is %u\n",
             static_cast<unsigned>(error));
    korvLogError(message);
}

}  // namespace

const char* const Dir::DIR_SEPARATOR = "/";

Dir::Dir() : m_components{"."} {}

Dir::Dir(const char* path, _path_style style) {
    splitPath(path ? path : "");
    setPathStyle(style);
}

std::string Dir::absolute() {
    if (!isAbsolute()) {
        std::string path = workingDir();
        if (path.empty()) return path;
        for (const std::string& name : m_components) {
            if (name != ".") path += name + DIR_SEPARATOR;
        }
        splitPath(path);
    }
    return buildPath();
}

bool Dir::isAbsolute() const {
    return !m_drive.empty() || m_rooted;
}

bool Dir::exists() const {
    return isDirectory(buildPath());
}

std::vector<std::string> Dir::dirList(const std::string& pattern) {
    std::vector<std::string> names;
    if (!exists()) return names;
    DIR* listing = ::opendir(absolute().c_str());
    if (!listing) return names;
    int error = 0;
    for (;;) {
        // readdir answers null both at the end and on failure; only errno tells them apart.
        errno = 0;
        const dirent* entry = ::readdir(listing);
        if (!entry) {
            error = errno;
            break;
        }
        if (Internal::matchesWildcard(pattern, entry->d_name)) names.emplace_back(entry->d_name);
    }
    ::closedir(listing);
    if (error != 0) logListingError(error);
    return names;
}

void Dir::setPathStyle(_path_style style) {
    m_style = style == slash_style ? slash_style : native_style;
}

const char* Dir::separator() {
    return DIR_SEPARATOR;
}

std::string Dir::workingDir() {
    char buffer[512];
    if (!::getcwd(buffer, sizeof buffer)) return std::string();
    return std::string(buffer) + DIR_SEPARATOR;
}

void Dir::splitPath(const std::string& path) {
    m_drive.clear();
    m_fileName.clear();
    m_extension.clear();
    m_components.clear();
    m_rooted = false;
    // Read as a C string: a name cut at a NUL would address some other directory.
    const std::optional<PathParts> parts = cutPath(path.c_str());
    if (!parts) return;
    m_drive = parts->drive;
    m_fileName = parts->fileName;
    if (!parts->extension.empty()) m_extension = parts->extension.substr(1);
    m_components = directoryNames(parts->directory);
    m_rooted = m_drive.empty() && !parts->directory.empty() && parts->directory[0] == '/';
}

std::string Dir::buildPath() const {
    if (!isAbsolute()) return std::string();
    // A rooted path has no drive to place, so both styles build it the POSIX way.
    const bool native = !m_rooted && m_style == native_style;
    const char separator = native ? '\\' : '/';
    std::string path;
    if (native) {
        path = m_drive + ":";
    } else if (!m_rooted) {
        path = "/" + m_drive;
    }
    path += separator;
    for (const std::string& name : m_components) {
        path += name;
        path += separator;
    }
    return path;
}

}  // namespace Korvane

#include <korvane/log/LogFileWriter.h>
#include <korvane/log/LogItem.h>

#include <cstdio>
#include <exception>
#include <filesystem>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace Korvane {

namespace {

constexpr int parametersCategory = 4;

constexpr char fileNameProperty[] = "FileName";
constexpr char maxLinesProperty[] = "MaxLines";
constexpr char openModeProperty[] = "OpenMode";

constexpr char truncMode[] = "Trunc";
constexpr char appendMode[] = "Append";

// "logs/logfile.txt" -> "logs/__temp__logfile.txt".
std::string temporaryName(const std::string& file) {
    const std::size_t slash = file.rfind('/');
    const std::size_t start = slash == std::string::npos ? 0 : slash + 1;
    return file.substr(0, start) + "__temp__" + file.substr(start);
}

// Creates the file or cuts it to size 0.
void emptyFile(const std::string& file) {
    std::ofstream emptied(file, std::ios::out | std::ios::trunc);
}

// A last line without a line break counts; a file that cannot be read holds none.
int countLines(const std::string& file) {
    std::ifstream reader(file);
    std::string line;
    int count = 0;
    while (count < std::numeric_limits<int>::max() && std::getline(reader, line)) ++count;
    return count;
}

// True for a file whose last character is something other than a line break.
bool lacksFinalLineBreak(const std::string& file) {
    std::ifstream reader(file, std::ios::binary | std::ios::ate);
    if (!reader || reader.tellg() <= 0) return false;
    reader.seekg(-1, std::ios::end);
    return reader.get() != '\n';
}

// Skips the first skip lines and copies the rest, each with a line break; answers how
// many were copied.
int copyLines(std::istream& from, std::ostream& to, int skip) {
    std::string line;
    int copied = 0;
    while (std::getline(from, line)) {
        if (skip > 0) {
            --skip;
            continue;
        }
        to << line << '\n';
        ++copied;
    }
    return copied;
}

// Writes the kept lines to the temporary file and renames it over the file, so the
// file is whole until the rename. False, with the file untouched, when the temporary
// file cannot be opened (then nothing of a stranger's is removed) or completed.
bool replaceThroughTemporary(const std::string& file, int skip, int* kept) {
    const std::string temporary = temporaryName(file);
    std::ofstream copy(temporary, std::ios::out | std::ios::trunc);
    if (!copy) return false;
    std::ifstream reader(file);
    const int copied = copyLines(reader, copy, skip);
    reader.close();
    copy.close();
    if (copy.fail() || std::rename(temporary.c_str(), file.c_str()) != 0) {
        std::remove(temporary.c_str());
        return false;
    }
    *kept = copied;
    return true;
}

// The fallback without a temporary file: the kept lines wait in memory while the file
// is truncated and rewritten. A file that cannot be read is left whole (-1).
int rewriteInPlace(const std::string& file, int skip) {
    std::ostringstream kept;
    std::ifstream reader(file);
    if (!reader.is_open()) return -1;
    const int copied = copyLines(reader, kept, skip);
    reader.close();
    std::ofstream rewritten(file, std::ios::out | std::ios::trunc);
    rewritten << kept.str();
    return copied;
}

}  // namespace

LogFileWriter::LogFileWriter() {
    addProperty(fileNameProperty, std::string(), string_property, read_write_access,
                parametersCategory, "The output filename.");
    addProperty(maxLinesProperty, -1, int32_property, read_write_access, 0,
                "Maximum number of lines in this log file.");
    addProperty(openModeProperty, 1, std::vector<std::string>{truncMode, appendMode}, enum_property,
                read_write_access, 0,
                "Defines whether the log file is cleared (size = 0) at begin or that new data is "
                "appended at the end.");
}

LogFileWriter::~LogFileWriter() = default;

LogWriter* LogFileWriter::createCopy() {
    return new LogFileWriter();
}

// The properties are read before the writer's mutex is taken, so that the property
// lock and the writer's mutex are never held together.
bool LogFileWriter::activatePropertyChange() {
    std::string fileName;
    std::string mode;
    int maxLines = -1;
    getPropertyForce(fileNameProperty, &fileName);
    getPropertyForce(openModeProperty, &mode);
    getPropertyForce(maxLinesProperty, &maxLines);

    MutexLock lock(&m_mutex);
    m_lineCount = 0;
    m_lost = false;
    m_failing = false;
    const bool wasOpen = m_file.is_open();
    if (wasOpen) m_file.close();
    m_fileName = fileName;
    if (!m_fileName.empty()) openPrivate(mode, wasOpen);
    m_maxLines = maxLines;
    return true;
}

// "Trunc" empties only a file this writer did not have open: reconfiguring a running
// writer must not wipe the log it is writing. "Append" ends an unfinished last line
// (already counted) so that the next item starts a line of its own. A failed open
// leaves the stream closed, and write then drops its lines.
void LogFileWriter::openPrivate(const std::string& mode, bool wasOpen) {
    bool unfinished = false;
    if (mode == truncMode) {
        if (!wasOpen) emptyFile(m_fileName);
    } else {
        m_lineCount = countLines(m_fileName);
        unfinished = lacksFinalLineBreak(m_fileName);
    }
    m_file.open(m_fileName, std::ios::out | std::ios::app);
    if (unfinished) m_file << '\n' << std::flush;
}

void LogFileWriter::write(const LogItemInterface& item) {
    MutexLock lock(&m_mutex);
    try {
        writePrivate(item);
        m_failing = false;
    } catch (const std::exception& error) {
        // Once until a line is written again, not for every line of an outage.
        if (m_failing) return;
        m_failing = true;
        std::printf("ERROR: Can not write to log file. Reason: %s", error.what());
        std::fflush(stdout);
    }
}

void LogFileWriter::writePrivate(const LogItemInterface& item) {
    if (!m_file.is_open() && !m_lost) return;
    if (m_lost || !fileStillThere()) reopenPrivate();
    std::string line;
    item.print(line);
    m_file << line << '\n';
    m_file.flush();
    if (!m_file) {
        m_file.clear();
        throw std::runtime_error("a line could not be written to " + m_fileName);
    }
    if (m_lineCount < std::numeric_limits<int>::max()) ++m_lineCount;
    if (m_maxLines > 0 && m_lineCount > m_maxLines) rotatePrivate();
}

// False once the file was removed (with its directory, say) behind the open stream,
// which would go on writing into the removed file.
bool LogFileWriter::fileStillThere() const {
    std::error_code error;
    return std::filesystem::exists(m_fileName, error);
}

// Opens the file again under its name, as a new file when it is gone; throws when
// that fails, and the next write tries again.
void LogFileWriter::reopenPrivate() {
    m_file.close();
    m_file.clear();
    m_lineCount = countLines(m_fileName);
    m_file.open(m_fileName, std::ios::out | std::ios::app);
    m_lost = !m_file.is_open();
    if (m_lost) throw std::runtime_error("the file " + m_fileName + " can not be opened");
}

// Keeps the newest maximum / 8 lines (as far as the line count knows the file).
void LogFileWriter::rotatePrivate() {
    m_file.close();
    const int skip = m_lineCount - m_maxLines / 8;
    if (!replaceThroughTemporary(m_fileName, skip, &m_lineCount)) {
        const int kept = rewriteInPlace(m_fileName, skip);
        if (kept >= 0) m_lineCount = kept;
    }
    m_file.open(m_fileName, std::ios::out | std::ios::app);
    m_lost = !m_file.is_open();
}

}  // namespace Korvane

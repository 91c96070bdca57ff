#include <korvane/log/LogWriter.h>

namespace Korvane {

LogWriter::LogWriter() : ManageableType("LogWriter") {}

LogWriter::LogWriter(const LogWriter& other) = default;

LogWriter::~LogWriter() = default;

}  // namespace Korvane

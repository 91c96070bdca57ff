#pragma once
// The setup model of the korvane tool and the two texts it is read from: a one-line
// launch description ("SimCamera Width=640 ! Flip Direction=Vertical ! PngStorage
// File=out/frame_%05d.png") and a run file (one "[Type]" section per component in chain
// order, "Name = Value" lines, and a "[Run]" section for the run's options). Both
// readers give the same Setup; neither knows the library, so both can be fuzzed. Every
// element, setting and error carries the offset into the text it came from, so an
// error can be shown under its column. FilePattern is the file name of a storage with
// at most one frame-number field (%d, %5d, %05d; "%%" is a percent sign).

#include <cstddef>
#include <string>
#include <vector>

namespace KorvaneTool {

struct Setting {
    std::string name;
    std::string value;
    std::size_t offset = 0;       // where the name begins
    std::size_t valueOffset = 0;  // where the value begins
};

struct Element {
    std::string type;
    std::vector<Setting> settings;
    std::size_t offset = 0;  // where the type name begins
};

struct Setup {
    std::vector<Element> chain;    // device first, then operators, then the sink
    std::vector<Setting> options;  // the "[Run]" section of a run file
    std::string text;              // the text read, for showing errors
    std::string origin;            // "description" or the file's name
};

struct ParseError {
    std::string message;  // empty when there was no error
    std::size_t offset = 0;
    explicit operator bool() const { return !message.empty(); }
};

// Reads a launch description into setup.chain; on failure the error says what and
// where, and setup is incomplete.
ParseError parseDescription(const std::string& text, Setup& setup);
// Reads a run file's text into setup.chain and setup.options.
ParseError parseRunFile(const std::string& text, Setup& setup);

// The 1-based line and column of offset in text, and the line itself.
struct TextPosition {
    std::size_t line = 1;
    std::size_t column = 1;
    std::string lineText;
};
TextPosition positionIn(const std::string& text, std::size_t offset);

class FilePattern {
public:
    // Reads pattern; false with error set when it holds a field other than one
    // frame-number field or "%%".
    bool parse(const std::string& pattern, std::string& error);
    bool numbered() const { return m_numbered; }
    // The name of frame number n, written into out (which keeps its capacity, so a
    // reused string allocates only when a name outgrows all earlier ones).
    void format(unsigned long long n, std::string& out) const;

private:
    std::string m_prefix, m_suffix;
    bool m_numbered = false;
    bool m_zeroPad = false;
    unsigned int m_width = 0;
};

}  // namespace KorvaneTool

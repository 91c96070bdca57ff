#pragma once
// A log item that prints exactly its text, so file contents can be compared whole.

#include <korvane/log/LogItem.h>

#include <string>

namespace KorvaneTest {

class TextItem : public Korvane::LogItemInterface {
public:
    explicit TextItem(std::string text) : m_text(std::move(text)) {}
    Korvane::LogItemInterface* copy() const override { return new TextItem(*this); }
    void print(std::string& line) const override { line = m_text; }

private:
    std::string m_text;
};

}  // namespace KorvaneTest

#pragma once
// Look-up tables turn monochrome samples into four-byte colours for display. Lut is
// the managed, abstract base; LutGrey owns a table of grey ramps, and LutGrey8, 10 and
// 16 are its standard sizes (256, 1024, 65536 entries). No lock guards the entries:
// edit a table before sharing it, or serialise edits and look-ups yourself.
//
// Decision: 1-byte samples index the table directly; on a table of fewer than 256
// entries a sample beyond the last entry takes the last entry, so nothing outside the
// table is ever read. Wider samples are masked by size - 1, which stays inside any table.

#include <korvane/core/Export.h>
#include <korvane/core/ManageableType.h>

#include <iosfwd>
#include <memory>

namespace Korvane {

// The library's own four-byte colour, in this byte order; `reserved` serves as alpha.
struct KORVANE_API RGBQUAD {
    unsigned char blue;
    unsigned char green;
    unsigned char red;
    unsigned char reserved;
};

KORVANE_API RGBQUAD createColor4(unsigned char red, unsigned char green, unsigned char blue,
                                 unsigned char alpha);
KORVANE_API bool operator==(const RGBQUAD& a, const RGBQUAD& b);

class KORVANE_API Lut : public ManageableType {
public:
    Lut();
    ~Lut() override;

    // A new table of the same class; the LutManager makes its instances with it.
    virtual Lut* createCopy() = 0;
    // Writes `count` colours, one per sample of bytesPerSample bytes (1, 2, 4 or 8; any
    // other writes nothing). False only when the table is empty.
    virtual bool applyLut(unsigned char* samples, unsigned int count, unsigned int bytesPerSample,
                          RGBQUAD* colours) = 0;
    virtual unsigned int size() const;
    // The entries as raw four-byte colours, no header; true while the stream is good.
    virtual bool read(std::istream& in) = 0;
    virtual bool write(std::ostream& out) const = 0;
    virtual RGBQUAD colorAtIndex(unsigned int index);
    virtual void setColorAtIndex(unsigned int index, RGBQUAD colour);
    virtual bool isTable();
};

class KORVANE_API LutGrey : public Lut {
public:
    // Fewer than 1 entry gives an empty table; otherwise the initial grey ramp.
    explicit LutGrey(int entries);
    LutGrey(const LutGrey&) = delete;
    LutGrey& operator=(const LutGrey&) = delete;
    ~LutGrey() override;

    // A new LutGrey of this size with the initial ramp; edits are not copied.
    Lut* createCopy() override;
    bool applyLut(unsigned char* samples, unsigned int count, unsigned int bytesPerSample,
                  RGBQUAD* colours) override;
    unsigned int size() const override;
    // A short stream fills the entries it holds and answers false.
    bool read(std::istream& in) override;
    bool write(std::ostream& out) const override;
    // All-zero bytes beyond the table.
    RGBQUAD colorAtIndex(unsigned int index) override;
    // Ignored beyond the table.
    void setColorAtIndex(unsigned int index, RGBQUAD colour) override;
    bool isTable() override;

private:
    unsigned int m_entryCount = 0;
    std::unique_ptr<RGBQUAD[]> m_table;  // m_entryCount entries; null when 0
};

class KORVANE_API LutGrey8 : public LutGrey {
public:
    LutGrey8();
    Lut* createCopy() override;
};

class KORVANE_API LutGrey10 : public LutGrey {
public:
    LutGrey10();
    Lut* createCopy() override;
};

class KORVANE_API LutGrey16 : public LutGrey {
public:
    LutGrey16();
    Lut* createCopy() override;
};

}  // namespace Korvane

#pragma once
// Operand records: plain argument records through which operators hand images to their
// processing routines. The core never reads them; they are a shared vocabulary between
// operators and the code that calls them. Copying a record copies the handles, which
// then share the images. Image fields start null, image lists empty.
//
// Decision on which images are inputs and which are results: each record's field names
// say so (input..., result...), in the order the record's name implies.

#include <korvane/core/Export.h>
#include <korvane/core/Handles.h>
#include <korvane/image/Image.h>

#include <vector>

namespace Korvane {

using ImageList = std::vector<ImgRefPtr>;

// The root of the family.
struct KORVANE_API Operand {
    virtual ~Operand();
};

// One input, one result.
struct KORVANE_API UnaryOperand : Operand {
    ImgRefPtr input;
    ImgRefPtr result;
};

// Two inputs, one result.
struct KORVANE_API BinaryOperand : Operand {
    ImgRefPtr input1;
    ImgRefPtr input2;
    ImgRefPtr result;
};

// Three inputs, one result.
struct KORVANE_API TernaryOperand : Operand {
    ImgRefPtr input1;
    ImgRefPtr input2;
    ImgRefPtr input3;
    ImgRefPtr result;
};

// Any number of inputs, one result.
struct KORVANE_API N_aryOperand : Operand {
    ImageList inputs;
    ImgRefPtr result;
};

// One input, two results.
struct KORVANE_API InvBinaryOperand : Operand {
    ImgRefPtr input;
    ImgRefPtr result1;
    ImgRefPtr result2;
};

// One input, three results.
struct KORVANE_API InvTernaryOperand : Operand {
    ImgRefPtr input;
    ImgRefPtr result1;
    ImgRefPtr result2;
    ImgRefPtr result3;
};

// One input, any number of results.
struct KORVANE_API InvN_aryOperand : Operand {
    ImageList results;
    ImgRefPtr input;
};

// Any number of inputs, any number of results.
struct KORVANE_API MultiN_aryOperand : Operand {
    ImageList inputs;
    ImageList results;
};

// One result, no input.
struct KORVANE_API Source1Operand : Operand {
    ImgRefPtr result;
};

// Any number of results, no input.
struct KORVANE_API SourceNOperand : Operand {
    ImageList results;
};

// One input, no result.
struct KORVANE_API Sink1Operand : Operand {
    ImgRefPtr input;
};

// Any number of inputs, no result.
struct KORVANE_API SinkNOperand : Operand {
    ImageList inputs;
};

}  // namespace Korvane

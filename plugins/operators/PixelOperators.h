#pragma once
// The operators that map each sample on its own: ApplyLut (grey samples through a
// look-up table of the LutManager into four-byte colours), Threshold (samples at or
// above a level become the top of the range, the others 0) and ConvertType (between
// 8-bit, 16-bit unsigned and 32-bit float samples). Decisions: the "full range" of an
// integer channel is 0 to 2^bitDepth - 1, of a float channel 0 to 1; conversions
// round to the nearest value and saturate.

#include <korvane/image/Lut.h>

#include "ImageOperator.h"

namespace KorvaneSample {

class ApplyLut : public ImageOperator {
public:
    ApplyLut();
    Korvane::Operator* createCopy() override { return new ApplyLut(*this); }
    bool init() override;
    bool cleanup() override;
    std::string help() const override;

protected:
    Korvane::ImgRefPtr transform(const Korvane::ImgRefPtr& image, std::string& reason) override;

private:
    Korvane::LutRefPtr m_lut;  // made by init from "Lut"; released by cleanup
};

class Threshold : public ImageOperator {
public:
    Threshold();
    Korvane::Operator* createCopy() override { return new Threshold(*this); }
    std::string help() const override;

protected:
    Korvane::ImgRefPtr transform(const Korvane::ImgRefPtr& image, std::string& reason) override;
};

class ConvertType : public ImageOperator {
public:
    ConvertType();
    Korvane::Operator* createCopy() override { return new ConvertType(*this); }
    std::string help() const override;

protected:
    Korvane::ImgRefPtr transform(const Korvane::ImgRefPtr& image, std::string& reason) override;
};

}  // namespace KorvaneSample

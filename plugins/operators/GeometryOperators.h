#pragma once
// The operators that move samples: Flip (mirror horizontally, vertically or both),
// Crop (a rectangle of the image) and Binning (n x n blocks into one sample). All keep
// the sample type and work channel by channel. Decisions: Crop clips its rectangle at
// the image's right and bottom edges (Width or Height 0 means "to the edge") and fails
// only when the corner lies outside the image; Binning drops the columns and rows that
// do not fill a whole block and fails on an image smaller than one block.

#include "ImageOperator.h"

namespace KorvaneSample {

class Flip : public ImageOperator {
public:
    Flip();
    Korvane::Operator* createCopy() override { return new Flip(*this); }
    std::string help() const override;

protected:
    Korvane::ImgRefPtr transform(const Korvane::ImgRefPtr& image, std::string& reason) override;
};

class Crop : public ImageOperator {
public:
    Crop();
    Korvane::Operator* createCopy() override { return new Crop(*this); }
    std::string help() const override;

protected:
    Korvane::ImgRefPtr transform(const Korvane::ImgRefPtr& image, std::string& reason) override;
};

class Binning : public ImageOperator {
public:
    // The largest "Factor".
    static constexpr unsigned int maxFactor = 16;

    Binning();
    Korvane::Operator* createCopy() override { return new Binning(*this); }
    std::string help() const override;

protected:
    Korvane::ImgRefPtr transform(const Korvane::ImgRefPtr& image, std::string& reason) override;
};

}  // namespace KorvaneSample

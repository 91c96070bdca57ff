#pragma once
// Statistics measures each image and passes it on unchanged: the smallest, largest and
// mean sample over all channels and a histogram, published as read-only properties
// after each frame ("Min", "Max", "Mean", "Histogram", "Frames"); any thread may read
// them, each property on its own (a reader between two frames may see values of both).
// Decisions: the histogram has "Bins" equal bins over the full range of an integer
// channel (0 to 2^bitDepth - 1) and over Min to Max of a float image; "Histogram" is
// the counts as decimal text separated by single spaces.

#include <vector>

#include "ImageOperator.h"

namespace KorvaneSample {

class Statistics : public ImageOperator {
public:
    // The largest "Bins".
    static constexpr unsigned int maxBins = 65536;

    Statistics();
    Korvane::Operator* createCopy() override { return new Statistics(*this); }
    std::string help() const override;

protected:
    Korvane::ImgRefPtr transform(const Korvane::ImgRefPtr& image, std::string& reason) override;

private:
    void publish(double min, double max, double mean, const std::vector<unsigned long long>& bins);
};

}  // namespace KorvaneSample

#include "Statistics.h"

#include <korvane/image/Channel.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace KorvaneSample {

using namespace Korvane;

Statistics::Statistics() : ImageOperator("Statistics") {
    addProperty("Bins", 256u, uint32_property, read_write_access, 0,
                PropertyText::permanent("Number of histogram bins, from 1 to 65536."));
    addProperty("Min", 0.0, double_property, read_access, 0,
                PropertyText::permanent("Smallest sample of the last image."));
    addProperty("Max", 0.0, double_property, read_access, 0,
                PropertyText::permanent("Largest sample of the last image."));
    addProperty("Mean", 0.0, double_property, read_access, 0,
                PropertyText::permanent("Mean sample of the last image."));
    addProperty("Histogram", "", string_property, read_access, 0,
                PropertyText::permanent("Counts of the last image's histogram bins, separated "
                                        "by spaces."));
    addProperty("Frames", 0ULL, uint64_property, read_access, 0,
                PropertyText::permanent("Number of images measured."));
}

std::string Statistics::help() const {
    return "Measures min, max, mean and histogram of images and passes them on unchanged.";
}

ImgRefPtr Statistics::transform(const ImgRefPtr& image, std::string& reason) {
    if (!accepts(*image, true, reason)) return ImgRefPtr();
    const unsigned int binCount = uintProperty("Bins");
    if (binCount < 1 || binCount > maxBins) {
        reason = "Bins " + std::to_string(binCount) + " is out of its range 1 to " +
                 std::to_string(maxBins);
        return ImgRefPtr();
    }
    double min = std::numeric_limits<double>::infinity();
    double max = -min, total = 0;
    const unsigned int count = image->pixelCount();
    for (int c = 0; c < image->channelCount(); ++c) {
        withSamples(*image, c, [&](auto* in) {
            for (unsigned int i = 0; i < count; ++i) {
                min = std::min<double>(min, in[i]);
                max = std::max<double>(max, in[i]);
                total += in[i];
            }
        });
    }
    const double samples = double(count) * image->channelCount();
    if (samples == 0) min = max = 0;
    // Bins over [low, low + span): the integer range, or the float image's own range.
    const bool integer = image->isInteger();
    const double low = integer ? 0 : min;
    const double span = integer ? std::ldexp(1.0, int(image->bitDepth())) : max - min;
    std::vector<unsigned long long> bins(binCount, 0);
    for (int c = 0; c < image->channelCount(); ++c) {
        withSamples(*image, c, [&](auto* in) {
            for (unsigned int i = 0; i < count; ++i) {
                const double place = span > 0 ? (in[i] - low) / span * binCount : 0;
                bins[std::min<std::size_t>(binCount - 1, std::size_t(std::max(0.0, place)))]++;
            }
        });
    }
    publish(min, max, samples == 0 ? 0 : total / samples, bins);
    return image;
}

void Statistics::publish(double min, double max, double mean,
                         const std::vector<unsigned long long>& bins) {
    std::string histogram;
    for (unsigned long long n : bins) {
        if (!histogram.empty()) histogram += ' ';
        histogram += std::to_string(n);
    }
    unsigned long long frames = 0;
    getProperty("Frames", &frames);
    setPropertyForce("Min", min);
    setPropertyForce("Max", max);
    setPropertyForce("Mean", mean);
    setPropertyForce("Histogram", histogram);
    setPropertyForce("Frames", frames + 1);
}

}  // namespace KorvaneSample

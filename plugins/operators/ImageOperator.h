#pragma once
// ImageOperator is the common frame of the sample operators: an "In" slot it pops one
// image from per iteration and an "Out" slot it pushes the result into. Subclasses
// implement transform, which runs on the operator process's thread; their settings
// are properties, read once per frame. Decisions: a frame the operator cannot handle
// (a sample type it does not support, a setting out of its range) is logged as an
// error naming the operator and ends the run (execute answers false), because every
// later frame of the stream would fail the same way. Sample types are read from the
// first channel; every channel of an image has the same type.

#include <korvane/buffers/BufferTemplate.h>
#include <korvane/image/Channel.h>
#include <korvane/image/Image.h>
#include <korvane/process/Operator.h>

#include <string>

namespace KorvaneSample {

// The sample types the operators handle, by quantum id.
enum SampleType : unsigned int {
    uint8Samples = 129,
    uint16Samples = 257,
    float32Samples = 514,
};

class ImageOperator : public Korvane::Operator {
public:
    bool init() override;
    bool execute() override;
    bool cleanup() override;

protected:
    // typeName names the operator in its log messages.
    explicit ImageOperator(std::string typeName);
    ImageOperator(const ImageOperator& other) = default;

    // The result for image, or an empty handle after reason was set to why not.
    virtual Korvane::ImgRefPtr transform(const Korvane::ImgRefPtr& image, std::string& reason) = 0;

    // A new image of w x h with channels channels of quantumId; empty when the manager
    // refuses the size.
    static Korvane::ImgRefPtr makeImage(unsigned int quantumId, unsigned int width,
                                        unsigned int height, int channels);
    // True for 8- and 16-bit unsigned and, with withFloat, 32-bit float samples; when
    // not, reason becomes "unsupported sample type ..." (or "... without channels").
    static bool accepts(Korvane::Image& image, bool withFloat, std::string& reason);
    // Whether an output image was made; when not, reason says so.
    static bool made(const Korvane::ImgRefPtr& out, std::string& reason);

    // Typed property reads; the default when the property cannot be read.
    unsigned int uintProperty(const char* name) const;
    double doubleProperty(const char* name) const;
    std::string textProperty(const char* name) const;

private:
    static bool supported(Korvane::Image& image, bool withFloat);
    static std::string unsupportedText(Korvane::Image& image);

    using Images = Korvane::BufferTemplate<Korvane::ImgRefPtr>;
    static Images& images(const Korvane::BufferRefPtr& buffer) {
        return static_cast<Images&>(*buffer);
    }

    std::string m_typeName;
    Korvane::BufferRefPtr m_in, m_out;  // bound while the process runs
};

// Calls f with a typed pointer to channel c's samples: unsigned char, unsigned short
// or float. False for any other sample type.
template <class F>
bool withSamples(Korvane::Image& image, unsigned int c, F&& f) {
    Korvane::ChannelRefPtr channel = image.channel(c);
    if (channel.isNull()) return false;
    unsigned char* raw = channel->rawBuffer();
    switch (channel->quantumId()) {
        case uint8Samples:
            f(raw);
            return true;
        case uint16Samples:
            f(reinterpret_cast<unsigned short*>(raw));
            return true;
        case float32Samples:
            f(reinterpret_cast<float*>(raw));
            return true;
        default:
            return false;
    }
}

}  // namespace KorvaneSample

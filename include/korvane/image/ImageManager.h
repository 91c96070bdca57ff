#pragma once
// The ImageManager is the factory of images and channels: one 0 x 0 prototype channel
// per sample type, the names of the sample types ("uint16", "Float32Image", ...), and
// the image types "Image" and "RgbaImage". Anonymous images belong to the caller's
// handles only; named ones also to the instance map. One process-wide instance; every
// operation holds the manager's lock, also while the image's channels are allocated.
//
// Decisions:
// - Every create and createAnonymous posts exactly one InstanceCreated for its image.
// - A request whose width x height, or whose total byte count over all channels, does
//   not fit 32 bits, that asks for more than maxChannels channels, or whose samples
//   cannot be allocated, answers an empty handle. An unknown quantum id still gives an
//   image without channels.
// - Prototype forms: channel i takes the sample type and bit depth of the prototype's
//   channel i, the last prototype channel standing in for any beyond it; `channels` 0
//   or a prototype without channels gives an image without channels. create with a
//   prototype makes as many channels as the prototype has.
// - The type of an image is set once when it is made; registration keeps it, so an
//   "RgbaImage" entered by create stays an "RgbaImage".
// - An image entered by addToImagePool that already carries a name keeps that name
//   (names are set once) and is listed under the name it was entered with.

#include <korvane/core/Export.h>
#include <korvane/core/Handles.h>
#include <korvane/core/Manager.h>
#include <korvane/image/Image.h>

#include <functional>
#include <map>
#include <string>

namespace Korvane {

namespace Internal {

struct KORVANE_API ImageManagerTraits {};

}  // namespace Internal

class KORVANE_API ImageManager : public Manager<Image, Internal::ImageManagerTraits> {
public:
    // More planes than any sensor delivers; a larger count is taken for a bad argument
    // rather than allocated one channel at a time.
    static constexpr unsigned int maxChannels = 65536;

    static ImageManager* get();

    ImageManager(const ImageManager&) = delete;
    ImageManager& operator=(const ImageManager&) = delete;
    ~ImageManager() override;

    // Empty name and unknown name answer false; otherwise as the generic manager.
    bool releaseInstance(const char* name) override;
    // Drops the registered types and the instances; the channel prototypes and the
    // sample-type names stay for the life of the manager.
    bool cleanUp() override;

    // `channels` channels of quantumId; 0 gives an image without channels.
    ImgRefPtr createAnonymous(unsigned int quantumId, unsigned int width, unsigned int height,
                              unsigned int channels);
    // The smallest sample type that holds `bits` (floating types are signed and at least
    // 32 bits); every channel's bit depth is then set to `bits`. Above 64 bits: no
    // channels.
    ImgRefPtr createAnonymous(unsigned int bits, bool isInteger, bool isSigned, unsigned int width,
                              unsigned int height, unsigned int channels);
    // A sample-type name, "Image" (no channels) or "RgbaImage" (one packed 32-bit
    // channel); `channels` counts only for sample-type names.
    ImgRefPtr createAnonymous(const char* typeName, unsigned int width, unsigned int height,
                              unsigned int channels);
    ImgRefPtr createAnonymous(const ImgRefPtr& prototype, unsigned int width, unsigned int height,
                              unsigned int channels);

    // As createAnonymous, then entered under name (see the generic manager; may change
    // name). Empty handle and empty name on failure.
    ImgRefPtr create(unsigned int width, unsigned int height, unsigned int bits, std::string& name,
                     bool unique);
    ImgRefPtr create(const char* typeName, unsigned int width, unsigned int height,
                     std::string& name, bool unique);
    ImgRefPtr create(ImgRefPtr prototype, unsigned int width, unsigned int height,
                     std::string& name, bool unique);

    // Enters an existing image under name by the generic insertion rule; false for an
    // empty handle or a taken name without unique.
    bool addToImagePool(const ImgRefPtr& image, std::string& name, bool unique);

protected:
    // False for an empty handle or a quantum id that has a prototype already.
    bool registerChannel(const ChannelRefPtr& prototype);
    // A new channel of the prototype's type; empty for an unknown quantum id or a size
    // that cannot be made.
    ChannelRefPtr createChannel(unsigned int quantumId, unsigned int width, unsigned int height);

private:
    // Image::addChannel asks for its channels here.
    friend class Image;

    ImageManager();

    bool registerQuantumName(const std::string& name, unsigned int quantumId);

    // The twins of the creating operations, without the event; the caller holds m_lock.
    ImgRefPtr makeAnonymousPrivate(unsigned int bits, bool isInteger, bool isSigned,
                                   unsigned int width, unsigned int height, unsigned int channels);
    ImgRefPtr makeAnonymousPrivate(const std::string& typeName, unsigned int width,
                                   unsigned int height, unsigned int channels);
    ImgRefPtr makeAnonymousPrivate(const ImgRefPtr& prototype, unsigned int width,
                                   unsigned int height, unsigned int channels);
    // The one place where images are made: `channels` channels of quantumId, named ""
    // and typed `type`. Empty when the size is refused or the samples cannot be had.
    ImgRefPtr buildPrivate(unsigned int quantumId, unsigned int width, unsigned int height,
                           unsigned int channels, const char* type);
    // Enters a new image under name and posts InstanceCreated.
    ImgRefPtr registerPrivate(const ImgRefPtr& image, std::string& name, bool unique);
    // Posts InstanceCreated for a new image (nothing for an empty handle); answers it.
    ImgRefPtr announcePrivate(const ImgRefPtr& image);
    ChannelRefPtr createChannelPrivate(unsigned int quantumId, unsigned int width,
                                       unsigned int height);
    bool sizeAcceptedPrivate(unsigned int quantumId, unsigned int width, unsigned int height,
                             unsigned int channels) const;

    // Guarded by m_lock, like the generic tables.
    std::map<unsigned int, ChannelRefPtr> m_channelPrototypes;  // by quantum id
    std::map<std::string, unsigned int, std::less<>> m_quantumNames;
};

}  // namespace Korvane

// A complete plug-in to start from: one operator and one storage, registered by the
// two entry points. Copy this folder, rename the plug-in and its components, and
// replace what the operator and the storage do. It includes installed headers only.
//
//   TemplateInvert  an operator that inverts the samples of 8-bit images on their
//                   way from its "In" buffer to its "Out" buffer.
//   TemplateGrey    a storage of 8-bit grey images in "*.tgrey" files: the text
//                   "TGREY <width> <height>" and a newline, then the samples row by row.

#include <korvane/buffers/BufferTemplate.h>
#include <korvane/image/Image.h>
#include <korvane/image/ImageManager.h>
#include <korvane/plugins/PluginEntry.h>
#include <korvane/process/Operator.h>
#include <korvane/process/Storage.h>

#include <fstream>
#include <string>

namespace {

bool isGrey8(const Korvane::ImgRefPtr& image) {
    return !image.isNull() && image->channelCount() == 1 && image->bitDepth() == 8;
}

class TemplateInvert : public Korvane::Operator {
public:
    TemplateInvert() {
        addBufferSlot("In", "Image", Korvane::slot_input, "8-bit images to invert.", false);
        addBufferSlot("Out", "Image", Korvane::slot_output, "The inverted images.", false);
    }
    Korvane::Operator* createCopy() override { return new TemplateInvert(*this); }

    bool init() override {
        m_in = bufferSlot("In");
        m_out = bufferSlot("Out");
        return m_in.isValid() && m_out.isValid();
    }
    bool execute() override {
        Korvane::ImgRefPtr image;
        if (!images(m_in).pop(image) || !isGrey8(image)) return false;
        unsigned char* sample = image->rawBuffer();
        for (unsigned int i = 0; i < image->pixelCount(); ++i) sample[i] = 255 - sample[i];
        return images(m_out).push(image);
    }
    bool cleanup() override {
        m_in = m_out = Korvane::BufferRefPtr();
        return true;
    }
    std::string help() const override { return "Inverts the samples of 8-bit grey images."; }

private:
    using Images = Korvane::BufferTemplate<Korvane::ImgRefPtr>;
    static Images& images(const Korvane::BufferRefPtr& buffer) {
        return static_cast<Images&>(*buffer);
    }
    Korvane::BufferRefPtr m_in, m_out;  // bound while the process runs
};

class TemplateGrey : public Korvane::Storage {
public:
    TemplateGrey() {
        addLoadFormat("tgrey");
        addSaveFormat("tgrey");
    }
    Korvane::Storage* createCopy() override { return new TemplateGrey(*this); }

    bool save(Korvane::ImgRefPtr image, const char* fileName) override {
        if (!isGrey8(image)) return false;
        std::ofstream out(fileName, std::ios::binary);
        out << "TGREY " << image->width() << ' ' << image->height() << '\n';
        image->write(out);
        return bool(out);
    }
    bool load(Korvane::ImgRefPtr& image, const char* fileName) override {
        std::ifstream in(fileName, std::ios::binary);
        std::string magic;
        unsigned int width = 0, height = 0;
        if (!(in >> magic >> width >> height) || magic != "TGREY" || in.get() != '\n') return false;
        image = Korvane::ImageManager::get()->createAnonymous(8, true, false, width, height, 1);
        if (image.isNull()) return false;
        image->read(in);
        return bool(in);
    }
};

}  // namespace

Korvane::PluginOrganizer* korvPluginOrganizer() {
    static auto* organizer = new Korvane::PluginOrganizer(
        Korvane::pluginInfo("TemplatePlugin", Korvane::Version(1, 0, 0),
                            "An operator and a storage to start a plug-in from", "MIT"));
    return organizer;
}

void korvPluginInit(Korvane::PluginOrganizer* organizer) {
    if (!organizer->components().empty()) return;
    organizer->addComponent("TemplateInvert", new TemplateInvert, nullptr);
    organizer->addComponent("TemplateGrey", new TemplateGrey, nullptr);
}

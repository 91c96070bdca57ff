// The module of the sample storages: PnmStorage ("pgm", "ppm"), PngStorage ("png") and
// TiffStorage ("tif", "tiff").

#include <korvane/plugins/PluginEntry.h>

#include "PngStorage.h"
#include "PnmStorage.h"
#include "TiffStorage.h"

Korvane::PluginOrganizer* korvPluginOrganizer() {
    static auto* organizer = new Korvane::PluginOrganizer(Korvane::pluginInfo(
        "KorvaneStorage", Korvane::Version(1, 0, 0),
        "Image files: PGM and PPM, PNG through libpng, TIFF through libtiff.", "MIT"));
    return organizer;
}

void korvPluginInit(Korvane::PluginOrganizer* organizer) {
    if (!organizer->components().empty()) return;
    using namespace KorvaneSample;
    organizer->addComponent("PnmStorage", new PnmStorage, nullptr);
    organizer->addComponent("PngStorage", new PngStorage, nullptr);
    organizer->addComponent("TiffStorage", new TiffStorage, nullptr);
}

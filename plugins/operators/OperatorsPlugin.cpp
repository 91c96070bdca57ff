// The module of the sample operators: ApplyLut, Threshold, ConvertType, Flip, Crop,
// Binning and Statistics, each registered under its class name.

#include <korvane/plugins/PluginEntry.h>

#include "GeometryOperators.h"
#include "PixelOperators.h"
#include "Statistics.h"

Korvane::PluginOrganizer* korvPluginOrganizer() {
    static auto* organizer = new Korvane::PluginOrganizer(Korvane::pluginInfo(
        "KorvaneOperators", Korvane::Version(1, 0, 0),
        "Basic operators: look-up table, threshold, statistics, flip, crop, binning and "
        "sample-type conversion.",
        "MIT"));
    return organizer;
}

void korvPluginInit(Korvane::PluginOrganizer* organizer) {
    if (!organizer->components().empty()) return;
    using namespace KorvaneSample;
    organizer->addComponent("ApplyLut", new ApplyLut, nullptr);
    organizer->addComponent("Threshold", new Threshold, nullptr);
    organizer->addComponent("ConvertType", new ConvertType, nullptr);
    organizer->addComponent("Flip", new Flip, nullptr);
    organizer->addComponent("Crop", new Crop, nullptr);
    organizer->addComponent("Binning", new Binning, nullptr);
    organizer->addComponent("Statistics", new Statistics, nullptr);
}

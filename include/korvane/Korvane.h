#pragma once
// The whole public interface of KorvaneCore.

#include <korvane/config/PropertySerializer.h>
#include <korvane/config/StringUtils.h>
#include <korvane/core/Export.h>
#include <korvane/core/Handles.h>
#include <korvane/core/PropertyInterface.h>
#include <korvane/core/PropertyTypes.h>
#include <korvane/core/RefPtr.h>
#include <korvane/events/Event.h>
#include <korvane/events/EventGenerator.h>
#include <korvane/platform/Mutex.h>
#include <korvane/platform/Thread.h>

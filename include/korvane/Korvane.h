#pragma once
// The whole public interface of KorvaneCore.

#include <korvane/config/ConfigSerializer.h>
#include <korvane/config/PropertySerializer.h>
#include <korvane/config/Registry.h>
#include <korvane/config/StringSerializer.h>
#include <korvane/config/StringUtils.h>
#include <korvane/config/SysEnv.h>
#include <korvane/core/Export.h>
#include <korvane/core/Handles.h>
#include <korvane/core/LibraryInit.h>
#include <korvane/core/ManageableType.h>
#include <korvane/core/Manager.h>
#include <korvane/core/ManagerInterface.h>
#include <korvane/core/Object.h>
#include <korvane/core/PropertyInterface.h>
#include <korvane/core/PropertyTypes.h>
#include <korvane/core/RefPtr.h>
#include <korvane/core/Version.h>
#include <korvane/events/Event.h>
#include <korvane/events/EventGenerator.h>
#include <korvane/log/LogFunctions.h>
#include <korvane/platform/DateTime.h>
#include <korvane/platform/Dir.h>
#include <korvane/platform/Mutex.h>
#include <korvane/platform/Thread.h>

#pragma once

// The one way library code gets a logger, declared once per source file by the
// name of its subsystem, as Qt's logging categories are:
//
//     SYNCCORE_LOGGER(logger, "SyncCore")
//     ...
//     LOG4CPLUS_ERROR(logger(), "...");
//
// The function hands out the same log4cplus logger on every call and obtains
// it on first use, never during static initialisation. Log locations (__FILE__)
// are paths relative to the source tree: the build strips the tree's own
// folder from them (-fmacro-prefix-map).

#include <log4cplus/logger.h>

#define SYNCCORE_LOGGER(function, name)                                                            \
    log4cplus::Logger& function()                                                                  \
    {                                                                                              \
        static log4cplus::Logger instance = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT(name));  \
        return instance;                                                                           \
    }

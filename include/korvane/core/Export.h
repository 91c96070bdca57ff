#pragma once
// The library is built with hidden visibility: only what carries KORVANE_API is
// part of the interface that hosts and plug-ins link against. The attribute is the
// same on both sides so that type information of exported classes stays unique
// across the core, the host and plug-ins (dynamic_cast and exceptions rely on it).

#define KORVANE_API __attribute__((visibility("default")))

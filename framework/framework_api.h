#pragma once
// Symbols of the host framework are visible across shared objects: the framework's classes are
// defined once, in the framework library, and their run-time type information must be one and
// the same in the host, the framework and every model library it loads, or the checked
// down-cast from VObject to ZR::VOValue would fail across library boundaries.
#define ZR_FRAMEWORK_API __attribute__((visibility("default")))

// Visibility of what crosses the border between the agent, its plug-ins and their host.
#pragma once

/// Marks classes and functions that have one home, the agent library, and are shared by every
/// library that links it. Everything else of a plug-in is built hidden.
#define QXL_API __attribute__((visibility("default")))

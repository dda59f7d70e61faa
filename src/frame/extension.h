// The extension's entry point and the handles of the Ruby modules it meets.
#pragma once

#include <ruby.h>

// Resolved once while the extension loads and only read afterwards. They name constants, whose table keeps the
// modules alive; they are not registered with the garbage collector, so heap compaction is not supported.
extern VALUE mSketchup;
extern VALUE mUI;
extern VALUE mGeom;
extern VALUE mZu;
extern VALUE mPlugin;  // the module Mirel inside Zu

// Run by `require`: resolves the handles, then defines the methods. Raises NameError for a missing constant.
extern "C" __attribute__((visibility("default"))) void Init_mirel();

// Defines the native methods on the plugin's class Importer.
void Init_Plugin();

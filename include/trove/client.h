// trove's C++ client API.
//
//   auto store = trove::Store::openFile("settings.xml", {.createIfMissing = true});
//   auto window = store.createKey("Application/Window");
//   window.set<uint32_t>("Width", 1280);
//   uint32_t width = window.get<uint32_t>("Width");
//   bool maximized = window.get("Maximized", false);
//   for (const auto& value : window.values()) { ... value.name, value.type ... }
//   store.close();  // the store is written back here, atomically
//
// Every failure throws trove::Error with the module's result code; a save
// that fails in a destructor goes to the close-error handler.
#pragma once

#include "trove/client/close_errors.h"
#include "trove/client/error.h"
#include "trove/client/key.h"
#include "trove/client/module.h"
#include "trove/client/store.h"
#include "trove/client/store_file_error.h"
#include "trove/client/store_files.h"
#include "trove/client/strict_text.h"
#include "trove/client/value_types.h"
#include "trove/result_codes.h"
#include "trove/version.h"

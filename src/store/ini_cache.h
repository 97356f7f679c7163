#pragma once
// The parsed-file cache behind CIniFile and IniBatch, for the store's own sources only.

#include <functional>
#include <memory>
#include <string>

#include "store/ini_text.h"

namespace nq::ini {

// The file as parsed last, or parsed now when it changed on disk; an empty document for a
// file that is missing or cannot be read.
[[nodiscard]] std::shared_ptr<const Document> cachedDocument(const std::string& path);

// Loads the file, lets edit change a copy of it and writes the copy back, once, when edit
// reports a change (false: the file already is as asked). A change that cannot be written
// is told on stderr: callers have no better place to show it.
bool modifyFile(const std::string& path, const std::function<bool(Document&)>& edit);

}  // namespace nq::ini

// Converts whole index files to their text form and back.
#pragma once

#include <string>

#include "src/index/index_text.h"

namespace dirindex {

/// Describes the bytes of an index file, so that buildImage() makes the same bytes again.
/// @return false with the reason in `error` if the structure has errors.
bool dumpImage(const std::string& bytes, IndexText& text, std::string& error);

/// Makes the bytes of an index file. @return false with the reason in `error`.
bool buildImage(const IndexText& text, std::string& bytes, std::string& error);

}  // namespace dirindex

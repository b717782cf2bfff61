#include "apps/shared/Errors.h"

#include <new>

namespace shared {

std::string reasonOf(const std::exception& error) {
  const std::string text = error.what();
  auto has = [&text](const char* part) { return text.find(part) != std::string::npos; };
  if (dynamic_cast<const std::bad_alloc*>(&error))
    return "not enough memory";
  if (has("failed to map segment")) // the loader's words
    return "not enough memory to load a part of the program";
  // The solver names its phase only. Its matrix is sound whatever the picture.
  if (has("PARDISO"))
    return "not enough memory, most likely: the filter could not solve for the haze";
  return text;
}

} // namespace shared

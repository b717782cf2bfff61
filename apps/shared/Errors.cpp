#include "apps/shared/Errors.h"

#include <new>

#include "apps/shared/Memory.h"

namespace shared {

std::string reasonOf(const std::exception& error) {
  if (dynamic_cast<const NotEnoughMemory*>(&error))
    return error.what();
  if (dynamic_cast<const std::bad_alloc*>(&error) || tellsOfMemory(error.what()))
    return "not enough memory";
  return error.what();
}

} // namespace shared

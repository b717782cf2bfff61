// A settings file: reads it, applies it, and writes it again.

#include <cmath>

#include "apps/photo/Files.h"
#include "apps/shared/Look.h"
#include "fuzz/Target.h"

namespace fuzz {

void settings(const photo::Bytes& bytes) {
  photo::TemporaryFile file;
  const shared::Look look = shared::readLook(file.create("conf", bytes));
  for (const shared::LookParameter& parameter : shared::lookParameters())
    if (const std::optional<double>& value = look.*parameter.value)
      promise(*value >= 0 && *value <= 100, "a value lies on its slider");
  Parameters filter{};
  shared::apply(look, filter);
  shared::lookOf(filter);
}

} // namespace fuzz

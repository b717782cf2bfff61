// All steps for any file except the filter: a separate process reads it, then the target writes it
// in one of the formats and reads it again. A file that breaks its decoder affects only the reader
// process.
//
// All of it runs in a fork, which has none of the threads that libraries have started: only then is
// the reader a fork as well, instead of a program that takes a second to start.

#include <cerrno>
#include <cstdio>
#include <stdexcept>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

#include "apps/photo/Codecs.h"
#include "apps/photo/Samples.h"
#include "apps/shared/Develop.h"
#include "fuzz/Target.h"

namespace fuzz {
namespace {

constexpr const char* extensions[] = {"tif", "jpg", "png", "exr", "webp", "jp2", "hdr"};

void develop(const photo::Bytes& bytes) {
  shared::Loaded loaded = photo::readApart({"-", bytes}, 8, 1, smallPicturesOnly());
  if (loaded.picture.premultiplied)
    photo::divideByAlpha(loaded.picture.document);
  const char* extension = extensions[bytes.size() % std::size(extensions)];
  const photo::Encoding encoding =
      shared::encodingFor(*photo::formatOfExtension(extension), {}, loaded.picture);
  try {
    shared::encode(loaded.picture, loaded.metadata, encoding, {});
  } catch (const std::runtime_error& error) {
    promise(false, (std::string("what was read can be written: ") + error.what()).c_str());
  }
}

// Exit status of the fork.
int status(const photo::Bytes& bytes) {
  try {
    develop(bytes);
    return 0;
  } catch (const std::runtime_error&) {
  } catch (const std::bad_alloc&) {
  }
  return 1;
}

} // namespace

void photograph(const photo::Bytes& bytes) {
  photo::setFormatsFolder(FOG_MODULE_FOLDER);
  photo::loadCodecFor({});
  std::fflush(nullptr);
  const pid_t child = ::fork();
  if (child == 0)
    ::_exit(status(bytes));
  promise(child > 0, "there is a process to be had");
  int end = -1;
  while (::waitpid(child, &end, 0) < 0 && errno == EINTR) { // the fuzzer limits the time
  }
  promise(WIFEXITED(end) && WEXITSTATUS(end) < 2, "a file is taken or refused");
  if (end != 0)
    throw std::runtime_error("refused");
}

} // namespace fuzz

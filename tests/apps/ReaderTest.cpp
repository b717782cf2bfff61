// The process that reads photographs: what it may do, and how it ends.

#include <thread>

#include <fcntl.h>
#include <sys/socket.h>

#include "apps/photo/Codecs.h"
#include "apps/photo/Confinement.h"
#include "apps/photo/Files.h"
#include "apps/photo/Formats.h"
#include "apps/photo/ReaderProcess.h"
#include "tests/apps/Folder.h"

namespace {

using testing::HasSubstr, testing::ThrowsMessage;

class Reader : public FolderTest {};

TEST_F(Reader, AConfinedProcessReachesNothingButItsFile) {
  write("photo", "bytes");
  write("other", "secret");
  int status = -1;
  const pid_t child = ::fork();
  if (child == 0) {
    const bool whole = photo::confine("photo").empty();
    auto opens = [](const char* name, int mode) { return ::open(name, mode, 0600) >= 0; };
    const bool confined = !opens("other", O_RDONLY) && !opens("photo", O_RDWR) &&
                          !opens("new", O_WRONLY | O_CREAT) && ::unlink("other") != 0 &&
                          ::socket(AF_INET, SOCK_STREAM, 0) < 0 && ::fork() < 0 &&
                          ::kill(::getppid(), 0) != 0 && ::execl("/bin/true", "true", nullptr) != 0;
    int works = 0;
    std::thread([&works] { works = 1; }).join();
    ::_exit(!whole + 2 * !confined + 4 * !works + 8 * !opens("photo", O_RDONLY));
  }
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status >> 8, 0) << "1: not known here, 2: can do more, 4: no thread, 8: no file";
  EXPECT_EQ(contents("other"), "secret");
}

photo::Photograph readFile(const std::string& file, const photo::Watch& watch = {}) {
  photo::setFormatsFolder(FOG_MODULE_FOLDER);
  return photo::readApart({file, photo::readWhole(file)}, 8, 1, watch);
}

auto refuses(const char* why) { return ThrowsMessage<std::runtime_error>(HasSubstr(why)); }

TEST_F(Reader, ABrokenFileCostsItsReaderOnly) {
  std::string iff("FOR4\0\0#tCIMGTBHD\0\0\0 \0\0\0@\0\0\0", 27); // of 64 by 48, in no tiles
  iff.append("0\0\1\0\1\0\0\0\1\0\0", 11).append(70, '\0');
  write("tiles.iff", iff);
  const std::string sizes("IHDR\0\0\x75\x30\0\0\x75\x30\x08\2\0\0\0", 17);
  write("bomb.png", "\x89PNG\r\n\x1a\n" + std::string(3, '\0') + "\x0d" + sizes);
  EXPECT_THAT([] { readFile("bomb.png"); }, refuses("takes at most 268435455 pixels"));
  EXPECT_THROW(readFile("tiles.iff"), std::runtime_error);
  writePicture("a.png", fixture::noise(50, 40, 32));
  photo::Watch poor;
  poor.claimed = [](const photo::Claim& claim) { throw claim.width; };
  EXPECT_THROW(readFile("a.png", poor), int64_t) << "before memory is taken for it";
  photo::Watch stopped{[](double) {}, [] { return true; }};
  EXPECT_THROW(readFile("a.png", stopped), photo::Stopped);
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "no reader is left";
  std::thread([] { EXPECT_EQ(readFile("a.png").picture.document.width(), 50); }).join();
}

TEST_F(Reader, AMessageThatIsCutIsRefused) {
  photo::Packer to;
  to.put(int32_t(7));
  to.putBlock(std::string("text"));
  for (size_t size = 0; size <= to.bytes().size(); ++size) {
    const photo::Bytes cut(to.bytes().begin(), to.bytes().begin() + ptrdiff_t(size));
    photo::Unpacker from(cut);
    auto all = [&from] {
      const auto number = from.get<int32_t>();
      return std::pair(number, from.getBlock<std::string>());
    };
    if (size < to.bytes().size())
      EXPECT_THAT(all, refuses("breaks its decoder"));
    else
      EXPECT_EQ(all(), std::pair(7, std::string("text")));
  }
}

// What a format's encoder makes is read again before it becomes a file.
TEST_F(Reader, AResultThatDoesNotDecodeIsNone) {
  photo::setFormatsFolder(FOG_MODULE_FOLDER);
  photo::Picture picture{fixture::noise(90, 300, 32)};
  for (const char* extension : {"jpg", "png", "tif", "exr", "webp", "jp2", "ppm", "tga"}) {
    photo::Encoding encoding{photo::formatOfExtension(extension)};
    encoding.bits = photo::leastDepth(*encoding.format);
    photo::Bytes file = photo::encodePicture(picture, encoding, {}, {});
    photo::checkResult(file, picture, encoding);
    const photo::Picture other{host::Document(90, 301, 3, 32)};
    EXPECT_THAT([&] { photo::checkResult(file, other, encoding); }, refuses("another size"));
    file.resize(file.size() / 2);
    EXPECT_THAT([&] { photo::checkResult(file, picture, encoding); }, refuses("nothing is written"))
        << extension;
  }
}

} // namespace

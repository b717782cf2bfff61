// The process that reads photographs: its rights, and how it ends.

#include <thread>

#include <fcntl.h>
#include <sys/socket.h>

#include "apps/photo/Codecs.h"
#include "apps/photo/Confinement.h"
#include "apps/photo/Files.h"
#include "apps/photo/Formats.h"
#include "apps/photo/HeaderSize.h"
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
  std::string iff("FOR4\0\0#tCIMGTBHD\0\0\0 \0\0\0@\0\0\0", 27); // 64 by 48, without tiles
  iff.append("0\0\1\0\1\0\0\0\1\0\0", 11).append(70, '\0');
  write("tiles.iff", iff);
  const std::string sizes("IHDR\0\0\x75\x30\0\0\x75\x30\x08\2\0\0\0", 17);
  write("bomb.png", "\x89PNG\r\n\x1a\n" + std::string(3, '\0') + "\x0d" + sizes);
  EXPECT_THAT([] { readFile("bomb.png"); }, refuses("takes at most 268435455 pixels"));
  EXPECT_THROW(readFile("tiles.iff"), std::runtime_error);
  writePicture("b.jpg", fixture::noise(50, 40, 8));
  std::string jpeg = contents("b.jpg");
  write("bomb.jpg", jpeg.replace(jpeg.find("\xff\xc0") + 5, 4, "\x3e\x80\x3e\x80"));
  EXPECT_THAT([] { readFile("bomb.jpg"); }, refuses("truncated"));
  writePicture("a.png", fixture::noise(50, 40, 32));
  photo::Watch poor;
  const int open = ::open("tiles.iff", O_RDONLY); // a program that is started inherits it
  poor.claimed = [](const photo::Claim& claim) {
    pid_t reader = 0;
    std::ifstream("/proc/thread-self/children") >> reader;
    Strings files;
    for (const auto& entry : fs::directory_iterator("/proc/" + std::to_string(reader) + "/fd"))
      files.push_back(fs::read_symlink(entry).filename());
    EXPECT_THAT(files, testing::Contains("memfd:samples (deleted)"));
    EXPECT_THAT(files, testing::Not(testing::Contains("tiles.iff")));
    throw claim.width;
  };
  EXPECT_THROW(readFile("a.png", poor), int64_t) << "before memory is taken for it";
  ::close(open);
  photo::Watch stopped{[](double) {}, [] { return true; }};
  EXPECT_THROW(readFile("a.png", stopped), photo::Stopped);
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "no reader is left";
  std::thread([] { EXPECT_EQ(readFile("a.png").picture.document.width(), 50); }).join();
}

// What a broken decoder can do at most: write anything into the memory that it shares.
TEST_F(Reader, AReaderInWrongHandsIsRefused) {
  writePicture("a.jpg", fixture::noise(50, 40, 8));
  const photo::Bytes file = photo::readWhole("a.jpg");
  photo::setFormatsFolder(fs::current_path());
  const std::string ones = "{ head -c 64 /dev/zero | tr '\\0' '\\377'; }", killed = "kill -9 $$";
  for (const std::string& page : {ones, "{ head -c 44 /dev/zero; " + ones + "; }", killed}) {
    write("fogdissolver-reader", "#!/bin/sh\ntrue 2>/dev/null >/proc/self/fd/$7\n" + page +
                                     " | dd conv=notrunc of=/proc/self/fd/$7 2>/dev/null\n"
                                     "sleep 0.1\n");
    fs::permissions("fogdissolver-reader", fs::perms(0700));
    std::thread([&] { // a process with threads starts the program
      EXPECT_THAT(
          [&] {
            photo::readApart({"a.jpg", file}, 8, 1, {});
          },
          refuses(page == killed ? "reader was killed" : "breaks its decoder"));
    })
        .join();
  }
}

TEST_F(Reader, AGifKeepsItsTransparency) {
  using namespace std::string_literals; // one transparent pixel
  write("dot.gif", "GIF89a\1\0\1\0\x80\0\0\xff\xff\xff\0\0\0!\xf9\4\1\0\0\0\0,\0\0\0\0\1\0\1\0\0"s
                   "\2\2\x44\1\0;"s);
  const host::Document dot = readFile("dot.gif").picture.document;
  EXPECT_TRUE(dot.hasTransparency() && dot.channels() == 4);
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

// A format returns what it can store; for everything else there is a message.
TEST_F(Reader, AFormatHoldsWhatItSaysAndNoMore) {
  photo::setFormatsFolder(FOG_MODULE_FOLDER);
  enum { deep = 16, real = 32, alpha = 64, more = 128 };
  const struct {
    const char* extension;
    int longest, shortest, holds;
  } formats[] = {{"jpg", 65500, 1, 8},
                 {"webp", 16383, 1, 8 | alpha},
                 {"tga", 65535, 1, 8 | alpha},
                 {"jp2", 0, 32, 8 | deep | alpha},
                 {"bmp", 0, 1, 8 | alpha},
                 {"png", 0, 1, 8 | deep | alpha},
                 {"ppm", 0, 1, 8},
                 {"tif", 0, 1, 8 | deep | real | alpha | more},
                 {"hdr", 0, 1, real},
                 {"exr", 0, 1, real | alpha | more}};
  for (const auto& f : formats) {
    SCOPED_TRACE(f.extension);
    const photo::Format& format = *photo::formatOfExtension(f.extension);
    const int least = f.holds & 8 ? 8 : 32;
    const auto passes = [&](int width, int height, int channels, int bits) -> std::string {
      const bool clear = channels == 4;
      photo::Picture picture{
          fixture::noise(width, height, 32, channels, host::ColourMode::rgb, clear)};
      if (std::string why = photo::whyNotHeld(format, picture, bits); !why.empty())
        return why;
      const photo::Encoding encoding{&format, bits};
      const photo::Bytes file = photo::encodePicture(picture, encoding, {}, {});
      EXPECT_NO_THROW(photo::checkResult(file, picture, encoding)) << width << " " << bits;
      const auto again = photo::readPicture({"x." + std::string(f.extension), file}, 32, 1, {});
      EXPECT_EQ(again.fileBits, bits);
      EXPECT_TRUE(again.document.hasTransparency() == clear || channels > 4);
      EXPECT_EQ(again.document.channels(), channels);
      const bool loses = f.extension[0] == 'j' || f.extension[0] == 'w';
      EXPECT_LE(loses ? 0 : fixture::largestDifference(again.document, picture.document),
                f.extension[0] == 'h' ? 1.0 / 255 : 0.51 / 255); // 8 bits and an exponent
      return "";
    };
    for (const int bits : {8, 16, 32})
      EXPECT_EQ(passes(33, 40, 3, bits), f.holds & bits
                                             ? ""
                                             : format.name + std::string(" cannot hold ") +
                                                   std::to_string(bits) + " bits a channel");
    EXPECT_EQ(passes(33, 40, 4, least).empty(), (f.holds & alpha) != 0) << f.extension;
    EXPECT_EQ(passes(33, 40, 5, least).empty(), (f.holds & more) != 0) << f.extension;
    EXPECT_EQ(passes(f.shortest, 40, 3, least), "");
    if (f.shortest > 1) {
      EXPECT_THAT(passes(40, f.shortest - 1, 3, least), HasSubstr("pixels a side here"));
    }
    if (f.longest) {
      EXPECT_EQ(passes(f.longest, 1, 3, least), "");
      EXPECT_THAT(passes(1, f.longest + 1, 3, least), HasSubstr("pixels a side"));
    }
    for (const int bits : {8, 16, 32}) { // the file's, else the next lower, else the lowest
      const int depth = photo::depthFor(format, bits);
      EXPECT_TRUE(f.holds & depth);
      EXPECT_EQ(depth == bits, (f.holds & bits) != 0) << f.extension << bits;
    }
  }
}

// Sizes in the first bytes, read without a decoder.
TEST_F(Reader, TheHeadTellsTheSize) {
  using namespace std::string_literals;
  const std::string size = "\0\x01\x02\x03\0\0\x04\x05"s, small = "\0\0\0\1\0\0\0\1"s;
  const struct {
    std::string head;
    int64_t width, height;
  } cases[] = {{"\x89PNG\r\n\x1a\n\0\0\0\rIHDR"s + size, 66051, 1029},
               {"\0\0\0\x0cjP  \r\n\x87\nihdr"s + size, 1029, 66051},
               {"\xff\x4f\xff\x51\0\x29\0\0"s + size, 66051, 1029},
               {"\0\0\0\x18"
                "ftypavifispe\0\0\0\0"s +
                    small + "ispe\0\0\0\0"s + size,
                66051, 1029},
               {"\0\0\0\x18"
                "ftypavifispe\0\0\0\0"s +
                    size + "ispe\0\0\0\0"s + small,
                66051, 1029},
               {"\0\0\0\x18"
                "ftyp"s +
                    std::string(65524, 'x') + "ispe\0\0\0\0"s + size,
                0, 0}, // too far from the start
               {"ftyp"s, 0, 0},
               {""s, 0, 0}};
  for (const auto& c : cases) {
    const auto claim = photo::claimedSize(photo::Bytes(c.head.begin(), c.head.end()));
    EXPECT_EQ(std::pair(claim.width, claim.height), std::pair(c.width, c.height)) << &c - cases;
  }
}

// The encoder's output is decoded again before it becomes a file.
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

// Nor does a stopped encoder leave anything behind, or write what is no longer there.
TEST_F(Reader, AnEncoderStopsHalfWay) {
  photo::setFormatsFolder(FOG_MODULE_FOLDER);
  const photo::Picture picture{fixture::noise(90, 300, 32)};
  for (const char* extension : {"jpg", "png", "tif", "exr", "webp", "jp2", "ppm", "tga"}) {
    photo::Encoding encoding{photo::formatOfExtension(extension)};
    encoding.bits = photo::leastDepth(*encoding.format);
    encoding.quality = 100; // the noise needs more than the encoder's first buffer
    double done = 0;
    const photo::Watch stops{[&](double share) { done = share; }, [&] { return done > 0.2; }};
    EXPECT_THROW(photo::encodePicture(picture, encoding, {}, stops), photo::Stopped) << extension;
    EXPECT_LT(done, 1) << extension;
  }
}

} // namespace

#include "apps/photo/ReaderProcess.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <new>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include "apps/photo/Codecs.h"
#include "apps/photo/Confinement.h"
#include "apps/photo/Files.h"
#include "apps/photo/Formats.h"
#include "apps/photo/HeaderSize.h"
#include "apps/photo/Message.h"

namespace photo {
namespace {

// Limits for a decoder: at least three times the most that any valid file was measured to need.
constexpr int64_t bytesAtFirst = int64_t(1) << 30;     // libraries, buffers
constexpr int64_t bytesPerThread = int64_t(160) << 20; // stack and arena, mostly untouched
constexpr int64_t bytesPerFileByte = 16;               // of compressed data
constexpr int64_t bytesPerPixel = 64;                  // working copies in whole numbers
constexpr int64_t bytesPerSampleByte = 16;             // the same if the header has the size
constexpr int64_t secondsAtFirst = 10;                 //
constexpr int64_t secondsWithoutSignature = 4;         // to find a picture in the file at all
constexpr int64_t pixelsPerSecond = 1000000;           // the slowest codec, on a slow machine
constexpr int64_t fileBytesPerSecond = 1000000;        //
constexpr int milliseconds = 50;                       // between two checks of the watch
constexpr int millisecondsOfRows = 2;                  // between two checks for decoded rows
constexpr int mostIdleMilliseconds = 120000;           // of a child that gets no processor time
constexpr int millisecondsToEnd = 1000;                // of a child after its last byte
constexpr size_t mostMessage = size_t(1) << 30;        // bytes of a reply

enum class Reply : uint8_t { claim, photograph, refusal, noMemory, tooMuchMemory };

// File descriptor with an owner.
struct Handle {
  int number = -1;
  explicit Handle(int number) : number(number) {}
  ~Handle() { close(); }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  void close() {
    if (number >= 0)
      ::close(std::exchange(number, -1));
  }
};

// Memory that parent and child share. A hostile file may control the child, which can then change
// every field at any time: the parent reads a field once, as a number, and checks what it has read.
struct Shared {
  std::atomic<float> progress{0};
  std::atomic<int64_t> width{0}, height{0}; // of the claim
  std::atomic<int> channels{0}, depth{0}, alpha{0};
  std::atomic<int> isClaimed{0}, isGranted{0};      // the child waits for the second
  std::atomic<int> isFileWanted{0}, isFileReady{0}; // the same for samples in a file
  std::atomic<uint64_t> samples{0}, decoded{0}; // their address, and the number of available bytes

  // Placed in a file in memory, whose zeros are the initial values.
  static Shared* in(int file) {
    void* page = ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (page == MAP_FAILED)
      throw std::bad_alloc();
    return static_cast<Shared*>(page);
  }
  void operator delete(void* page) { ::munmap(page, sizeof(Shared)); }
};

// The child process; it ends with its owner.
struct Child {
  pid_t id;
  ~Child() { end(); }
  bool hasEnded() const {
    siginfo_t ended{};
    return ::waitid(P_PID, id_t(id), &ended, WEXITED | WNOHANG | WNOWAIT) != 0 ||
           ended.si_pid == id;
  }
  // Returns its wait status.
  int end() {
    int status = 0;
    if (id <= 0)
      return status;
    ::kill(id, SIGKILL);
    while (::waitpid(id, &status, 0) < 0 && errno == EINTR) {
    }
    id = 0;
    return status;
  }
};

// ---- In the child

struct Bounds {
  int64_t memory, seconds;
};

bool hasSignature(const Bytes& file) {
  return formatOfBytes(file.data(), file.size()) || isHeif(file);
}

// Before the picture's size is known.
Bounds boundsFor(const Source& source, int threads) {
  const ClaimedSize claim = claimedSize(source.bytes);
  const int64_t pixels = claim.width * claim.height, size = int64_t(source.bytes.size());
  return {mappedBytes() + bytesAtFirst + threads * bytesPerThread + size * bytesPerFileByte +
              pixels * bytesPerPixel,
          hasSignature(source.bytes)
              ? secondsAtFirst + size / fileBytesPerSecond + pixels / pixelsPerSecond
              : secondsWithoutSignature};
}

void setBounds(const Bounds& bounds) {
  const int64_t machine = ::sysconf(_SC_PHYS_PAGES) * int64_t(::sysconf(_SC_PAGESIZE));
  limitMemory(std::min(bounds.memory, machine));
  limitSeconds(bounds.seconds);
}

void putFailure(Packer& to, Reply reply, const std::string& reason) {
  to = {};
  to.put(reply);
  to.putBlock(reason);
}

bool limitIsOurs(rlim_t inherited) {
  rlimit bound{};
  ::getrlimit(RLIMIT_AS, &bound);
  return bound.rlim_cur < inherited;
}

// The file descriptors of one reader; both processes have them.
struct Files {
  int samples, reply, page;
};

bool isWritten(int file, const uint8_t* bytes, size_t size) {
  for (size_t done = 0; done < size;) {
    const ssize_t n = ::write(file, bytes + done, size - done);
    if (n < 0 && errno != EINTR)
      return false;
    done += size_t(std::max<ssize_t>(n, 0));
  }
  return true;
}

// A reader that cannot send its answer exits.
void send(int file, const uint8_t* bytes, size_t size) {
  if (!isWritten(file, bytes, size))
    ::_exit(1);
}

void send(int file, const Bytes& bytes) { send(file, bytes.data(), bytes.size()); }

// The decoder's own message, if it is meant for users.
Packer decode(Source& source, int minimumBits, int threads, Bounds bounds, const Files& files,
              const std::string& unconfined, Shared& shared, std::optional<Photograph>& result) {
  Packer reply;
  rlimit inherited{};
  ::getrlimit(RLIMIT_AS, &inherited);
  try {
    setBounds(bounds);
    Watch watch{[&shared](double share) { shared.progress = float(share); }};
    watch.claimed = [&](const Claim& claim) {
      const int64_t bytes = claim.width * claim.height * claim.channels * claim.depth / 8;
      bounds.memory += bytes * bytesPerSampleByte;
      bounds.seconds += bytes / pixelsPerSecond;
      if (!hasSignature(source.bytes))
        bounds.seconds += secondsAtFirst + int64_t(source.bytes.size()) / fileBytesPerSecond;
      setBounds(bounds);
      shared.width = claim.width;
      shared.height = claim.height;
      shared.channels = claim.channels;
      shared.depth = claim.depth;
      shared.alpha = claim.alpha;
      shared.isClaimed = true;
      send(files.reply, Bytes{uint8_t(Reply::claim)});
      while (!shared.isGranted)
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    };
    watch.decoded = [&shared](const host::Document& document, int32_t rows) {
      shared.samples = uint64_t(reinterpret_cast<uintptr_t>(document.row(0)));
      shared.decoded = document.rowBytes() * uint64_t(rows);
    };
    Picture picture = readPicture(source, minimumBits, threads, watch);
    Metadata metadata = readMetadata(source.bytes, picture);
    result = Photograph{std::move(picture), std::move(metadata), unconfined};
    reply.put(Reply::photograph);
    pack(*result, reply);
  } catch (const std::bad_alloc&) {
    putFailure(reply, limitIsOurs(inherited.rlim_cur) ? Reply::tooMuchMemory : Reply::noMemory, "");
  } catch (const std::runtime_error& error) {
    putFailure(reply, Reply::refusal, error.what());
  } catch (const std::exception&) { // from a library: a length or a position out of range
    putFailure(reply, Reply::refusal, "truncated or damaged");
  }
  return reply;
}

// Keeps the samples until the parent has copied them and kills this process; writes them into the
// file if the parent may not read this process's memory.
[[noreturn]] void offerSamples(const host::Document& document, const Files& files, Shared& shared) {
  while (!shared.isFileWanted)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  const auto* samples = reinterpret_cast<const uint8_t*>(document.row(0));
  send(files.samples, samples, document.rowBytes() * size_t(document.height()));
  shared.isFileReady = true;
  while (true)
    ::pause();
}

// Closes every other file from the parent, such as its connections to other processes.
void keepOnly(Files& files) {
  int* kept[] = {&files.samples, &files.reply, &files.page};
  std::sort(std::begin(kept), std::end(kept), [](int* a, int* b) { return *a < *b; });
  int next = STDERR_FILENO + 1;
  for (int* file : kept)
    *file = ::dup2(*file, next++);
  ::closefrom(next);
}

[[noreturn]] void beReader(Source& source, int minimumBits, int threads, Files files,
                           pid_t parent) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (::getppid() != parent) // the parent died before
    ::_exit(1);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) // the parent ends its reader
    ::signal(signal, SIG_IGN);
  for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGXCPU})
    ::signal(signal, SIG_DFL);
  ::signal(SIGXFSZ, SIG_IGN);
  const int nowhere = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) // libraries write to them
    ::dup2(nowhere, stream);
  keepOnly(files);
  const rlimit none{0, 0};
  ::setrlimit(RLIMIT_CORE, &none);
  Shared& shared = *Shared::in(files.page);
  const Bounds bounds = boundsFor(source, threads);
  const std::string unconfined = confine(source.path);
  std::optional<Photograph> result;
  send(files.reply,
       decode(source, minimumBits, threads, bounds, files, unconfined, shared, result).bytes());
  ::close(files.reply);
  if (result)
    offerSamples(result->picture.document, files, shared);
  ::_exit(0);
}

// ---- In the parent

// The picture's size according to the child, which may send anything.
Claim checkedClaim(const Shared& shared) {
  const Claim claim{shared.width, shared.height, shared.channels, shared.depth, shared.alpha != 0};
  if (claim.width < 1 || claim.height < 1 || claim.channels < 3 + int(claim.alpha) ||
      claim.channels > INT16_MAX || (claim.depth != 8 && claim.depth != 32))
    Unpacker::fail();
  refuseBeyondFilter(claim.width, claim.height);
  return claim;
}

// The document that is copied from the child's memory, from the top down.
struct Arrival {
  Claim claim{};
  std::optional<host::Document> document; // exists after the claim
  size_t bytes = 0;                       // bytes of its samples that are copied
  size_t size() const { return document->rowBytes() * size_t(document->height()); }
};

// Copies the samples at the address up to this number of bytes. False if the system does not allow
// this process to read the child's memory.
bool fetch(pid_t child, uint64_t address, uint64_t bytes, Arrival& arrival) {
  for (bytes = std::min<uint64_t>(bytes, arrival.size()); arrival.bytes < bytes;) {
    const iovec to{arrival.document->row(0) + arrival.bytes, bytes - arrival.bytes};
    const iovec from{reinterpret_cast<void*>(uintptr_t(address) + arrival.bytes), to.iov_len};
    const ssize_t n = ::process_vm_readv(child, &to, 1, &from, 1, 0);
    if (n <= 0)
      return false;
    arrival.bytes += size_t(n);
  }
  return true;
}

// The child's progress, 0 to 1.
double progressOf(const Shared& shared) {
  const float share = shared.progress;
  return share >= 0 && share <= 1 ? double(share) : 0;
}

// Ends the wait for a child that is stopped, or waits for itself: one that gets no processor time
// at all while this process waits for so long.
class Patience {
public:
  explicit Patience(pid_t child) { ::clock_getcpuclockid(child, &clock_); }
  void waited(int milliseconds) {
    timespec used{};
    const bool idle = ::clock_gettime(clock_, &used) == 0 && used.tv_sec == used_.tv_sec &&
                      used.tv_nsec == used_.tv_nsec;
    used_ = used;
    idle_ = idle ? idle_ + milliseconds : 0;
    if (idle_ > mostIdleMilliseconds)
      throw std::runtime_error("cannot be read: its reader does not go on");
  }

private:
  clockid_t clock_{};
  timespec used_{};
  int idle_ = 0;
};

// Receives everything that the child writes until it closes the pipe; meanwhile handles its claim
// and its decoded rows.
Bytes receive(int pipe, pid_t child, Shared& shared, const Watch& watch, Arrival& arrival) {
  Bytes reply(1 << 16);
  Patience patience(child);
  for (size_t size = 0;;) {
    if (watch.stopped())
      throw Stopped();
    watch.progress(progressOf(shared));
    if (shared.isClaimed && !arrival.document) {
      const Claim claim = arrival.claim = checkedClaim(shared);
      watch.claimed(claim);
      shared.isGranted = true;
      arrival.document.emplace(int32_t(claim.width), int32_t(claim.height), claim.channels,
                               claim.depth, host::ColourMode::rgb, claim.alpha);
    }
    const uint64_t decoded = shared.decoded;
    const bool rows =
        arrival.document && decoded > 0 && fetch(child, shared.samples, decoded, arrival);
    pollfd ready{pipe, POLLIN, 0};
    const int longest = rows ? millisecondsOfRows : milliseconds;
    if (::poll(&ready, 1, longest) <= 0) {
      patience.waited(longest);
      continue;
    }
    if (size == reply.size())
      reply.resize(size * 2);
    const ssize_t n = ::read(pipe, reply.data() + size, reply.size() - size);
    if (n < 0 && errno == EINTR)
      continue;
    size += size_t(std::max<ssize_t>(n, 0));
    if (n <= 0 || size > mostMessage) {
      reply.resize(n < 0 || size > mostMessage ? 0 : size);
      return reply;
    }
  }
}

// For a child that has closed its pipe.
[[noreturn]] void throwCrash(Child& child) {
  for (int waited = 0; waited < millisecondsToEnd && !child.hasEnded(); ++waited)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  const bool byItself = child.hasEnded();
  const int status = child.end();
  if (byItself && WIFSIGNALED(status) && WTERMSIG(status) == SIGXCPU)
    throw std::runtime_error("cannot be read: its decoder finds no end");
  if (byItself && WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL)
    throw std::runtime_error("cannot be read: its reader was killed, perhaps for lack of memory");
  Unpacker::fail();
}

// How to reach the samples of the child's document.
struct Lender {
  Child& child;
  const Files& files;
  Shared& shared;
  const Watch& watch;
};

// Through a file in memory.
void fetchByFile(const Lender& from, Arrival& arrival) {
  from.shared.isFileWanted = true;
  for (Patience patience(from.child.id); !from.shared.isFileReady; patience.waited(1)) {
    if (from.watch.stopped())
      throw Stopped();
    if (from.child.hasEnded())
      throwCrash(from.child);
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  for (size_t& done = arrival.bytes; done < arrival.size();) {
    const ssize_t n = ::pread(from.files.samples, arrival.document->row(0) + done,
                              arrival.size() - done, off_t(done));
    if (n <= 0)
      Unpacker::fail();
    done += size_t(n);
  }
}

Photograph opened(const Bytes& reply, Arrival& arrival, const Lender& lender) {
  Unpacker from(reply);
  auto kind = from.get<Reply>();
  if (kind == Reply::claim)
    kind = from.get<Reply>();
  switch (kind) {
  case Reply::photograph:
    return unpackPhotograph(from, arrival.claim, [&](uint64_t address) {
      if (!arrival.document) // it has claimed nothing
        Unpacker::fail();
      if (!fetch(lender.child.id, address, arrival.size(), arrival))
        fetchByFile(lender, arrival);
      return std::move(*arrival.document);
    });
  case Reply::noMemory:
    throw std::bad_alloc();
  case Reply::tooMuchMemory:
    throw std::runtime_error("cannot be read: its decoder asks for more memory than a picture of "
                             "its size needs");
  default:
    throw std::runtime_error(from.getBlock<std::string>());
  }
}

// A fork of a process with threads would find locks that nobody releases, and wait for threads that
// do not exist in it.
bool hasOneThread() {
  std::error_code error;
  const std::filesystem::directory_iterator threads("/proc/self/task", error);
  return !error && std::distance(begin(threads), end(threads)) == 1;
}

[[noreturn]] void failWithoutMemory() {
  throw std::runtime_error(std::string("no memory to read it with: ") + std::strerror(errno));
}

int memoryFile(const char* name, size_t size) {
  const int file = ::memfd_create(name, MFD_CLOEXEC | MFD_ALLOW_SEALING);
  if (file < 0 || ::ftruncate(file, off_t(size)) != 0)
    failWithoutMemory();
  ::fcntl(file, F_ADD_SEALS, F_SEAL_SHRINK); // reading mapped pages that are gone ends a process
  return file;
}

// Starts the reader program, which passes its arguments to beReader.
pid_t startProgram(const Source& source, int minimumBits, int threads, const Files& files) {
  const Handle bytes(memoryFile("file", 0));
  if (!isWritten(bytes.number, source.bytes.data(), source.bytes.size()))
    failWithoutMemory();
  std::vector<std::string> words = {(formatsFolder() / "fogdissolver-reader").string(),
                                    source.path};
  for (const int value : {minimumBits, threads, bytes.number, files.samples, files.reply,
                          files.page, int(::getpid())})
    words.push_back(std::to_string(value));
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (std::string& word : words)
    arguments.push_back(word.data());
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  for (const int file : {bytes.number, files.samples, files.reply, files.page})
    ::posix_spawn_file_actions_adddup2(&actions, file, file); // keeps it open in the new program
  pid_t id = -1;
  errno = ::posix_spawn(&id, words[0].c_str(), &actions, nullptr, arguments.data(), environ);
  ::posix_spawn_file_actions_destroy(&actions);
  return errno ? -1 : id;
}

} // namespace

Photograph readApart(Source source, int minimumBits, int threads, const Watch& watch) {
  if (source.bytes.empty())
    throw std::runtime_error("the file is empty");
  std::error_code ignored;
  if (!std::filesystem::is_regular_file(source.path, ignored))
    source.path = std::string("-"); // a stream that a library opens again would not end
  const ClaimedSize size = claimedSize(source.bytes);
  refuseBeyondFilter(size.width, size.height);
  const Handle samples(memoryFile("samples", 0)), page(memoryFile("page", sizeof(Shared)));
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0)
    throw std::runtime_error(std::string("no pipe to read it through: ") + std::strerror(errno));
  const Handle result(ends[0]);
  Handle reply(ends[1]);
  const std::unique_ptr<Shared> shared(Shared::in(page.number));
  const Files files{samples.number, reply.number, page.number};
  const bool fork = hasOneThread(); // before the image library starts threads that wait for work
  if (fork)
    loadCodecFor(source);
  const pid_t parent = ::getpid();
  Child child{fork ? ::fork() : startProgram(source, minimumBits, threads, files)};
  if (child.id == 0)
    beReader(source, minimumBits, threads, files, parent);
  if (child.id < 0)
    throw std::runtime_error(std::string("no process to read it: ") + std::strerror(errno));
  reply.close();
  Arrival arrival;
  const Bytes message = receive(result.number, child.id, *shared, watch, arrival);
  if (message.size() > 1)
    return opened(message, arrival, {child, files, *shared, watch});
  throwCrash(child); // nothing arrived, or only the claim
}

int beReaderProgram(int argc, char** argv) {
  if (argc != 9)
    return 2;
  int values[7];
  for (int i = 0; i < 7; ++i)
    values[i] = std::atoi(argv[i + 2]);
  const auto [minimumBits, threads, bytes, samples, reply, page, parent] = values;
  ::setenv("OPENBLAS_NUM_THREADS", "1", 1); // of a library that starts threads when it is loaded
  try {
    setFormatsFolder(std::filesystem::path(argv[0]).parent_path());
    Source source{argv[1], readWhole("/proc/self/fd/" + std::to_string(bytes))};
    loadCodecFor(source);
    beReader(source, minimumBits, threads, {samples, reply, page}, parent);
  } catch (const std::exception& error) {
    Packer message;
    putFailure(message, Reply::refusal, error.what());
    send(reply, message.bytes());
    return 1;
  }
}

} // namespace photo

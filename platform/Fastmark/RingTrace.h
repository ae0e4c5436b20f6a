// The ring trace: what every trace site writes whatever the text levels are, kept in memory for a
// dump after a crash. `Velo/Trace.h` is the one writer; the host makes a TraceHandle and points
// `defaultFastmarkHandle` at it.
//
// A message is the number of its site and the raw bytes of its arguments. The words stand once per
// file, in the description that a site registers before its first message, and come together only
// in TraceFile::forEach. Messages bear a sequence number and no time, so two equal runs leave equal
// rings.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "platform/Nimbo/String.h"
#include "platform/Velo/Types.h"

namespace Fastmark {

class TraceFile;

// A ring of whole messages: a new one takes the place of the oldest ones. One thread writes; nobody
// may read meanwhile.
//
//   | head: size, id, sequence | arguments, packed | head | arguments ... free ... |
//                                                  start_ (being written) end_     limit_
//
// The ring is eight segments, taken in turn. A message that does not fit into the rest of the
// segment goes to the next one, where all that stood in it is dropped at once; one that is larger
// than a segment takes as many neighbours as it needs, from the ring's start on where there are not
// enough up to its end. A message never wraps, so what remains is decided by the sizes alone.
class RingBuf {
 public:
  // `bytes` is rounded up to a power of two of at least 64.
  explicit RingBuf(std::size_t bytes);
  RingBuf(const RingBuf&) = delete;
  RingBuf& operator=(const RingBuf&) = delete;

  // Opens a message of site `id`: writes its head with the file's next sequence number.
  void startMsg(TraceFile* file, int id);
  void endMsg();
  // True from startMsg to endMsg, unless the arguments turned out larger than the whole ring: then
  // the message is cut back to its head and takes no argument any more.
  bool hasWriteArea() const { return open_; }

  // Appends the bytes of `value` to the open message. Only while hasWriteArea.
  template <class T>
  requires(std::is_trivially_copyable_v<T>) void write(T value) { write(&value, sizeof value); }
  void write(const void* bytes, std::size_t size) {
    if (size > static_cast<std::size_t>(limit_ - end_) && !makeRoom(size)) [[unlikely]] {
      return;
    }
    std::memcpy(end_, bytes, size);
    end_ += size;
  }

  // Writes a message with all its arguments in one go, each a U32, a bool, an entity's address or
  // a string; they read back as if written one by one. False, and nothing is written, near the end
  // of a segment: there the message has to be written one by one. Not while a message is open.
  template <class... Arguments>
  bool writeMsg(TraceFile* file, int id, const Arguments&... arguments);

  std::size_t capacity() const { return segments * segment_; }

  struct Message {
    int id;
    U64 sequence;
    std::string_view arguments;
  };
  // Calls `fn` for each message, the oldest first. `arguments` is valid during the call only.
  void forEach(const std::function<void(const Message&)>& fn) const;

 private:
  struct Head {
    U32 size;  // of head and arguments
    int id;
    U64 sequence;
  };
  static constexpr std::size_t segments = 8;

  bool makeRoom(std::size_t more);
  char* segment(std::size_t i) const { return bytes_.get() + i * segment_; }
  void drop(std::size_t from, std::size_t to) {
    for (; from < to; ++from) fill_[from] = 0;
  }

  static std::size_t sizeOf(const Nimbo::String& text) { return sizeof(U32) + text.size(); }
  static std::size_t sizeOf(std::string_view text) { return sizeof(U32) + text.size(); }
  template <class T>
  static constexpr std::size_t sizeOf(const T&) {
    return sizeof(T);  // NOLINT(bugprone-sizeof-expression)
  }
  static char* place(char* at, const Nimbo::String& text) {
    if (text.isLong()) [[unlikely]] {
      return place(at, text.view());
    }
    // All bytes of the object: faster than as many as the text has, and what is too much is
    // overwritten by what comes next.
    const auto size = static_cast<U32>(text.size());
    std::memcpy(at, &size, sizeof size);
    for (std::size_t i = 0; i < 3; ++i) {
      const U64 word = text.word(i);
      std::memcpy(at + sizeof size + i * sizeof word, &word, sizeof word);
    }
    return at + sizeof size + size;
  }
  static char* place(char* at, std::string_view text) {
    const auto size = static_cast<U32>(text.size());
    std::memcpy(at, &size, sizeof size);
    if (size != 0) std::memcpy(at + sizeof size, text.data(), size);
    return at + sizeof size + size;
  }
  template <class T>
  static char* place(char* at, const T& value) {
    static_assert(std::is_same_v<T, U32> || std::is_same_v<T, bool> || std::is_pointer_v<T>,
                  "these are the arguments that a type code tells of");
    std::memcpy(at, &value, sizeof value);  // NOLINT(bugprone-sizeof-expression)
    return at + sizeof value;               // NOLINT(bugprone-sizeof-expression)
  }

  std::size_t segment_;  // bytes of one
  std::unique_ptr<char[]> bytes_;
  char* start_;
  char* end_;
  char* limit_;              // of the segments that are being written
  std::size_t current_ = 0;  // the first one of these
  // Bytes of messages that begin in each segment other than the current one; they may reach into
  // the ones behind it.
  std::array<std::size_t, segments> fill_{};
  bool open_ = false;
};

// Writes a string argument: its length in four bytes, then its characters, zero bytes among them
// included. A null text counts as the empty one. Like every argument only while the ring has a
// write area.
void put(RingBuf* ring, std::string_view text);
inline void put(RingBuf* ring, const char* text) {
  put(ring, text == nullptr ? std::string_view() : std::string_view(text));
}

// What a message looks like: its text with one placeholder, "%s" or "%x", for each type code.
//
//   p  string          i  four bytes, unsigned
//   q  entity pointer  b  bool, one byte
class MsgFormatString {
 public:
  void put(const char* typeCode) { codes_ += typeCode; }
  void textPut(const char* piece) { text_ += piece; }
  const std::string& text() const { return text_; }
  const std::string& codes() const { return codes_; }

 private:
  std::string text_;
  std::string codes_;
};

// Registers the message of one site with one file: pieces of text and type codes in their order,
// then finish(). A site whose id is still zero gets one that no other site of the process has; it
// keeps it for every later file. Sites may register from several threads, each with its own file.
class MsgDesc {
 public:
  MsgDesc(TraceFile* file, int* id, const char* sourceFile, U32 sourceLine);
  MsgDesc& operator<<(const char* text) {
    format_.textPut(text);
    return *this;
  }
  MsgFormatString& format() { return format_; }
  void finish();

 private:
  TraceFile* file_;
  int* id_;
  const char* sourceFile_;
  U32 sourceLine_;
  MsgFormatString format_;
};

// The rings of one writer, one for each level, and the descriptions of the messages in them.
class TraceFile {
 public:
  static constexpr U32 levels = 10;
  static constexpr std::size_t defaultRingBytes = 64 * 1024;

  explicit TraceFile(std::size_t bytesPerRing = defaultRingBytes);
  TraceFile(const TraceFile&) = delete;
  TraceFile& operator=(const TraceFile&) = delete;

  // False also for zero, which is no site, and for numbers that other files gave out.
  bool knows(int id) const {
    return static_cast<std::size_t>(id) < known_.size() &&
           known_[static_cast<std::size_t>(id)] != 0;
  }
  // `level` is below `levels`.
  RingBuf* ring(U32 level) { return rings_.data() + level; }

  struct Message {
    U32 level;
    U64 sequence;  // counts from 1 over all levels of the file
    std::string text;
    const std::string& sourceFile;
    U32 sourceLine;
  };
  using Visitor = std::function<void(const Message&)>;
  // Renders the pointer of an entity argument, which is never zero.
  using EntityText = std::function<std::string(U64)>;

  // Calls `fn` for the messages of one level, or of all of them, in the order in which they were
  // written. The text is the one of the text trace, with two exceptions: a message that was cut
  // back to its head keeps its placeholders, and an entity other than null prints by `entity`, or
  // as "entity" without one, for the object may be long gone and its address says nothing outside
  // the process.
  void forEach(U32 level, const Visitor& fn, const EntityText& entity = {}) const;
  void forEach(const Visitor& fn, const EntityText& entity = {}) const;

 private:
  friend class MsgDesc;
  friend class RingBuf;

  struct Description {
    MsgFormatString format;
    std::string sourceFile;
    U32 sourceLine = 0;
  };

  void add(int id, Description description);
  static std::string textOf(const Description& description, std::string_view arguments,
                            const EntityText& entity);

  // A byte for each id, apart from the descriptions: it is all that writing a message looks at.
  std::vector<U8> known_;
  std::vector<std::unique_ptr<const Description>> descriptions_;
  std::array<RingBuf, levels> rings_;
  U64 sequence_ = 0;
};

template <class... Arguments>
bool RingBuf::writeMsg(TraceFile* file, int id, const Arguments&... arguments) {
  const std::size_t size = (sizeof(Head) + ... + sizeOf(arguments));
  char* at = end_;
  if (size + sizeof(Nimbo::String) > static_cast<std::size_t>(limit_ - at)) [[unlikely]] {
    return false;
  }
  const Head head{static_cast<U32>(size), id, ++file->sequence_};
  std::memcpy(at, &head, sizeof head);
  at += sizeof head;
  ((at = place(at, arguments)), ...);
  end_ = at;
  return true;
}

// Where the process traces to: one file for a process that traces on one thread, or a file for each
// thread, so that writing takes no lock. Outlives every trace while `defaultFastmarkHandle` points
// at it.
class TraceHandle {
 public:
  // All traces go to `file`; null for none.
  explicit TraceHandle(std::unique_ptr<TraceFile> file);
  // Each thread gets a file of its own at its first trace, with rings of that size. The files stay
  // with the handle when their threads end, for what they hold may be what the dump is wanted for.
  struct PerThread {
    std::size_t bytesPerRing = TraceFile::defaultRingBytes;
  };
  explicit TraceHandle(PerThread threads);

  bool isMultiThreaded() const { return isMultiThreaded_; }
  // The file of a handle that is not multi-threaded; may be null.
  TraceFile* traceFile() const { return single_; }
  // Sets the file of a handle that is not multi-threaded and drops the old one.
  void traceFileIs(std::unique_ptr<TraceFile> file);
  // The calling thread's file in a multi-threaded handle.
  TraceFile* mtTraceFile();

  // Calls `fn` for each file, in the order in which they were made. No thread may trace meanwhile.
  void forEachFile(const std::function<void(const TraceFile&)>& fn) const;

 private:
  const bool isMultiThreaded_;
  const std::size_t bytesPerRing_;
  const U64 serial_;  // tells handles apart that follow each other at one address
  TraceFile* single_ = nullptr;
  mutable std::mutex mutex_;
  std::vector<std::unique_ptr<TraceFile>> files_;
};

// The process's ring trace; null, which is how a process starts, for none. The handle belongs to
// whoever sets it. Set it before other threads trace. It is used like the pointer that it holds; of
// a class only since the gates of all trace statements have to hear of a change.
class DefaultTraceHandle {
 public:
  constexpr DefaultTraceHandle() = default;
  DefaultTraceHandle(const DefaultTraceHandle&) = delete;
  DefaultTraceHandle& operator=(const DefaultTraceHandle&) = delete;

  DefaultTraceHandle& operator=(TraceHandle* handle);
  operator TraceHandle*() const { return handle_; }
  TraceHandle* operator->() const { return handle_; }

 private:
  TraceHandle* handle_ = nullptr;
};
extern DefaultTraceHandle defaultFastmarkHandle;

// The file that the calling thread traces to now; null for none.
inline TraceFile* currentTraceFile() {
  TraceHandle* const handle = defaultFastmarkHandle;
  if (handle == nullptr) return nullptr;
  return handle->isMultiThreaded() ? handle->mtTraceFile() : handle->traceFile();
}

}  // namespace Fastmark

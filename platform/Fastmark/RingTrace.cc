#include "platform/Fastmark/RingTrace.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "platform/Dualmark/FastmarkConverter.h"
#include "platform/Fastmark/TraceGate.h"

namespace Fastmark {

constinit DefaultTraceHandle defaultFastmarkHandle;

namespace {

constexpr std::size_t smallestRing = 64;

// Takes arguments off the bytes of a message. A message never ends within an argument, but what is
// read after a crash may be anything: a value that is not all there reads as zero.
class ArgumentReader {
 public:
  explicit ArgumentReader(std::string_view bytes) : bytes_(bytes) {}

  template <class T>
  T value() {
    T result{};
    if (bytes_.size() >= sizeof result) {
      std::memcpy(&result, bytes_.data(), sizeof result);
      bytes_.remove_prefix(sizeof result);
    }
    return result;
  }
  std::string_view text() {
    const auto size = value<U32>();
    const std::string_view result = bytes_.substr(0, size);
    bytes_.remove_prefix(result.size());
    return result;
  }

 private:
  std::string_view bytes_;
};

}  // namespace

RingBuf::RingBuf(std::size_t bytes)
    : segment_(std::bit_ceil(std::max(bytes, smallestRing)) / segments),
      bytes_(std::make_unique_for_overwrite<char[]>(capacity())),
      start_(segment(0)),
      end_(segment(0)),
      limit_(segment(1)) {}

void RingBuf::startMsg(TraceFile* file, int id) {
  start_ = end_;
  open_ = true;
  write(Head{sizeof(Head), id, ++file->sequence_});
}

void RingBuf::endMsg() {
  const auto size = static_cast<U32>(end_ - start_);
  std::memcpy(start_ + offsetof(Head, size), &size, sizeof size);
  open_ = false;
}

// Moves the open message on to where `more` bytes more fit. False, and the message is cut back to
// its head, where it would fill more than the ring; then nothing is dropped for it in vain.
bool RingBuf::makeRoom(std::size_t more) {
  const auto written = static_cast<std::size_t>(end_ - start_);
  if (more > capacity() - written) {
    end_ = start_ + sizeof(Head);
    open_ = false;
    return false;
  }
  const std::size_t needed = (written + more + segment_ - 1) / segment_;
  const std::size_t next = static_cast<std::size_t>(limit_ - segment(0)) / segment_;
  // A message that has its segments to itself grows where it is.
  const bool isAlone = start_ == segment(current_);
  fill_[current_] = static_cast<std::size_t>(start_ - segment(current_));
  std::size_t first = isAlone ? current_ : next;
  if (first + needed <= segments) {
    drop(next, first + needed);
  } else {
    // What stands between here and the ring's end is older than what stands at its start.
    drop(next, segments);
    first = 0;
    drop(0, needed);
  }
  std::memmove(segment(first), start_, written);
  start_ = segment(first);
  end_ = start_ + written;
  limit_ = segment(first + needed);
  current_ = first;
  return true;
}

void RingBuf::forEach(const std::function<void(const Message&)>& fn) const {
  // The oldest ones stand behind the segments that are being written.
  const std::size_t next = static_cast<std::size_t>(limit_ - segment(0)) / segment_;
  for (std::size_t i = 0; i < segments; ++i) {
    const std::size_t s = (next + i) % segments;
    const char* at = segment(s);
    // A message that is still open is not all there.
    const char* const end = s != current_ ? at + fill_[s] : open_ ? start_ : end_;
    while (at < end) {
      Head head{};
      std::memcpy(&head, at, sizeof head);
      fn(Message{head.id, head.sequence, {at + sizeof head, head.size - sizeof head}});
      at += head.size;
    }
  }
}

void put(RingBuf* ring, std::string_view text) {
  const auto size = static_cast<U32>(text.size());
  ring->write(size);
  if (ring->hasWriteArea() && size != 0) ring->write(text.data(), size);
}

MsgDesc::MsgDesc(TraceFile* file, int* id, const char* sourceFile, U32 sourceLine)
    : file_(file), id_(id), sourceFile_(sourceFile), sourceLine_(sourceLine) {}

void MsgDesc::finish() {
  static std::atomic<int> lastId = 0;
  std::atomic_ref<int> site(*id_);
  int id = site.load(std::memory_order_relaxed);
  if (id == 0) {
    // Two threads may come here for one site: the first number stands, the other one stays unused.
    const int fresh = ++lastId;
    if (site.compare_exchange_strong(id, fresh)) id = fresh;
  }
  file_->add(id, TraceFile::Description{std::move(format_), sourceFile_, sourceLine_});
}

namespace {

template <std::size_t... level>
std::array<RingBuf, sizeof...(level)> ringsOf(std::size_t bytes, std::index_sequence<level...>) {
  return {(static_cast<void>(level), RingBuf(bytes))...};
}

}  // namespace

TraceFile::TraceFile(std::size_t bytesPerRing)
    : rings_(ringsOf(bytesPerRing, std::make_index_sequence<levels>())) {}

void TraceFile::add(int id, Description description) {
  const auto at = static_cast<std::size_t>(id);
  if (at >= known_.size()) {
    known_.resize(at + 1);
    descriptions_.resize(at + 1);
  }
  descriptions_[at] = std::make_unique<const Description>(std::move(description));
  known_[at] = 1;
}

std::string TraceFile::textOf(const Description& description, std::string_view arguments,
                              const EntityText& entity) {
  if (arguments.empty()) return description.format.text();
  Dualmark::FastmarkConverter converter;
  converter.stream(description.format.text());
  ArgumentReader reader(arguments);
  for (const char code : description.format.codes()) {
    switch (code) {
      case 'p':
        converter.argument(reader.text());
        break;
      case 'i':
        converter.argument(U64{reader.value<U32>()});
        break;
      case 'b':
        converter.argument(U64{reader.value<U8>()});
        break;
      case 'q': {
        const U64 pointer = reader.value<U64>();
        const std::string text = pointer == 0 ? "null" : entity ? entity(pointer) : "entity";
        converter.argument(std::string_view(text));
        break;
      }
      default:
        break;  // a code that some later writer added: its placeholder stays
    }
  }
  converter.argument(nullptr);
  return std::string(converter.text());
}

void TraceFile::forEach(U32 level, const Visitor& fn, const EntityText& entity) const {
  rings_[level].forEach([&](const RingBuf::Message& message) {
    const Description& description = *descriptions_[static_cast<std::size_t>(message.id)];
    fn(Message{level, message.sequence, textOf(description, message.arguments, entity),
               description.sourceFile, description.sourceLine});
  });
}

void TraceFile::forEach(const Visitor& fn, const EntityText& entity) const {
  struct Entry {
    U64 sequence;
    U32 level;
    const Description* description;
    std::string arguments;
  };
  std::vector<Entry> entries;
  for (U32 level = 0; level < levels; ++level) {
    rings_[level].forEach([&](const RingBuf::Message& message) {
      entries.push_back({message.sequence, level,
                         descriptions_[static_cast<std::size_t>(message.id)].get(),
                         std::string(message.arguments)});
    });
  }
  std::sort(entries.begin(), entries.end(),
            [](const Entry& a, const Entry& b) { return a.sequence < b.sequence; });
  for (const Entry& entry : entries) {
    fn(Message{entry.level, entry.sequence, textOf(*entry.description, entry.arguments, entity),
               entry.description->sourceFile, entry.description->sourceLine});
  }
}

namespace {

U64 nextSerial() {
  static std::atomic<U64> last = 0;
  return ++last;
}

}  // namespace

TraceHandle::TraceHandle(std::unique_ptr<TraceFile> file)
    : isMultiThreaded_(false), bytesPerRing_(0), serial_(nextSerial()) {
  traceFileIs(std::move(file));
}

TraceHandle::TraceHandle(PerThread threads)
    : isMultiThreaded_(true), bytesPerRing_(threads.bytesPerRing), serial_(nextSerial()) {}

void TraceHandle::traceFileIs(std::unique_ptr<TraceFile> file) {
  single_ = file.get();
  files_.clear();
  if (file) files_.push_back(std::move(file));
  if (defaultFastmarkHandle == this) TraceGate::ringIs(single_ != nullptr);
}

DefaultTraceHandle& DefaultTraceHandle::operator=(TraceHandle* handle) {
  handle_ = handle;
  TraceGate::ringIs(handle != nullptr &&
                    (handle->isMultiThreaded() || handle->traceFile() != nullptr));
  return *this;
}

TraceFile* TraceHandle::mtTraceFile() {
  // The last handle that this thread traced to. Trivial, so it serves to the thread's very end.
  struct Last {
    U64 serial;
    TraceFile* file;
  };
  thread_local constinit Last last{0, nullptr};
  if (last.serial != serial_) [[unlikely]] {
    auto file = std::make_unique<TraceFile>(bytesPerRing_);
    last = Last{serial_, file.get()};
    const std::lock_guard lock(mutex_);
    files_.push_back(std::move(file));
  }
  return last.file;
}

void TraceHandle::forEachFile(const std::function<void(const TraceFile&)>& fn) const {
  const std::lock_guard lock(mutex_);
  for (const auto& file : files_) fn(*file);
}

}  // namespace Fastmark

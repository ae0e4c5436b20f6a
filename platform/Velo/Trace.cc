#include "platform/Velo/Trace.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <utility>
#include <vector>

#include "platform/Dualmark/FastmarkConverter.h"
#include "platform/Velo/Signature.h"

namespace Velo {

namespace {

void writeToStandardError(void* /*context*/, U32 level, const char* line, std::size_t size) {
  // The stream has no buffer of its own, so what is written at once goes out at once. Nobody is
  // left to tell of a line that could not be written.
  char usual[512];
  std::string longer;
  char* out = usual;
  if (size + 12 > sizeof usual) {
    longer.resize(size + 12);
    out = longer.data();
  }
  char* end = std::to_chars(out, out + 10, level).ptr;
  *end++ = ' ';
  if (size != 0) std::memcpy(end, line, size);
  end += size;
  *end++ = '\n';
  std::fwrite(out, 1, static_cast<std::size_t>(end - out), stderr);
}

struct Sink {
  TraceSink function = writeToStandardError;
  void* context = nullptr;
};

// What the whole process shares. Never destroyed: machines that end after static objects still
// trace.
struct Shared {
  std::mutex mutex;
  std::map<std::string, U32, std::less<>> levels;  // as given by traceLevelsIs
  std::vector<TraceHandle*> facilities;
  std::set<std::string, std::less<>> signatures;
  Sink sink;
};

Shared& shared() {
  static Shared& instance = *new Shared;
  return instance;
}

// The signature is kept here and not at its site: a module that is unloaded takes its sites with
// it.
const std::string* internSignature(const char* pretty) {
#ifdef __clang__
  std::string signature = signatureAsGcc(pretty);
#else
  std::string signature = pretty;
#endif
  Shared& all = shared();
  const std::lock_guard lock(all.mutex);
  return &*all.signatures.insert(std::move(signature)).first;
}

// Where the first placeholder ends, or the end of the text.
std::size_t pieceEnd(std::string_view format) {
  const std::size_t at = std::min(format.find("%s"), format.find("%x"));
  return at == std::string_view::npos ? format.size() : at + 2;
}

}  // namespace

TraceHandle::TraceHandle(const char* name, bool allLevels)
    : name_(name), levels_(allLevels ? ~U32{0} : 0) {
  Shared& all = shared();
  const std::lock_guard lock(all.mutex);
  const auto given = all.levels.find(name_);
  if (given != all.levels.end()) levels_.store(given->second, std::memory_order_relaxed);
  all.facilities.push_back(this);
}

TraceHandle::~TraceHandle() {
  Shared& all = shared();
  const std::lock_guard lock(all.mutex);
  std::erase(all.facilities, this);
  Fastmark::TraceGate::levelsGone(levels_);
}

void TraceHandle::levelsIs(U32 mask) {
  levels_.store(mask, std::memory_order_relaxed);
  Fastmark::TraceGate::levelsChanged(levels_);
}

void traceLevelsIs(const char* facility, U32 mask) {
  Shared& all = shared();
  const std::lock_guard lock(all.mutex);
  all.levels.insert_or_assign(facility, mask);
  for (TraceHandle* handle : all.facilities) {
    if (std::string_view(handle->name()) == facility) handle->levelsIs(mask);
  }
}

void traceSinkIs(TraceSink sink, void* context) {
  Shared& all = shared();
  const std::lock_guard lock(all.mutex);
  all.sink = sink == nullptr ? Sink{} : Sink{sink, context};
}

TraceStream& TraceStream::operator<<(std::string_view text) {
  if (text_.empty()) {
    text_ = text;
    return *this;
  }
  if (joined_.empty()) joined_ = text_;
  joined_ += text;
  text_ = joined_;
  return *this;
}

TraceHelper::TraceHelper(TraceHandle& facility, FacilityLevel level, const char* file, U32 line,
                         const char* function)
    : facility_(facility), level_(level), line_(line), file_(file), function_(function) {}

TraceHelper::~TraceHelper() {
  Sink sink;
  {
    // Called outside of the lock, so that a sink may trace, or set another sink.
    Shared& all = shared();
    const std::lock_guard lock(all.mutex);
    sink = all.sink;
  }
  const std::string_view line = stream_.text();
  sink.function(sink.context, level_, line.data(), line.size());
}

const char* TraceArgument::typeCode() const {
  switch (kind_) {
    case Kind::text:
      return "p";
    case Kind::number:
      return "i";
    case Kind::boolean:
      return "b";
    case Kind::entity:
      break;
  }
  return "q";
}

void TraceArgument::writeTo(Fastmark::RingBuf& ring) const {
  switch (kind_) {
    case Kind::text:
      return Fastmark::put(&ring, text_);
    case Kind::number:
      return ring.write(static_cast<U32>(number_));
    case Kind::boolean:
      return ring.write(static_cast<U8>(number_));
    case Kind::entity:
      return ring.write(static_cast<U64>(reinterpret_cast<std::uintptr_t>(entity_)));
  }
}

void TraceArgument::writeTo(Dualmark::FastmarkConverter& converter) const {
  switch (kind_) {
    case Kind::text:
      return converter.argument(text_);
    case Kind::number:
    case Kind::boolean:
      return converter.argument(number_);
    case Kind::entity:
      return converter.argument(entity_);
  }
}

U32 TraceFacility::channels(FacilityLevel level) const {
  const U32 both = Fastmark::TraceGate::wordFor(levelsOf(handle()));
  return both & Fastmark::TraceGate::mask(level);
}

void TraceSite::writeEach(const TraceFacility& facility, U32 channels,
                          std::initializer_list<TraceArgument> arguments) {
  if ((channels & Fastmark::TraceGate::ringBit) != 0) {
    Fastmark::TraceFile* const file = Fastmark::currentTraceFile();
    if (file != nullptr) writeRing(facility, *file, arguments);
  }
  if (((channels >> level_) & 1U) != 0) writeText(facility.handle(), arguments);
}

void TraceSite::writeRing(const TraceFacility& facility, Fastmark::TraceFile& file,
                          std::initializer_list<TraceArgument> arguments) {
  int id = std::atomic_ref<int>(id_).load(std::memory_order_relaxed);
  if (!file.knows(id)) [[unlikely]] {
    registerWith(facility.handle(), file, arguments);
    id = std::atomic_ref<int>(id_).load(std::memory_order_relaxed);
  }
  Fastmark::RingBuf* const ring = file.ring(level_);
  ring->startMsg(&file, id);
  for (const TraceArgument& argument : arguments) {
    if (ring->hasWriteArea()) argument.writeTo(*ring);
  }
  ring->endMsg();
}

void TraceSite::registerWith(const TraceHandle& facility, Fastmark::TraceFile& file,
                             std::initializer_list<TraceArgument> arguments) {
  Fastmark::MsgDesc description(&file, &id_, facility.name(), line_);
  description << signature().c_str() << ": ";
  std::string_view rest = format_;
  for (const TraceArgument& argument : arguments) {
    const std::string piece(rest.substr(0, pieceEnd(rest)));
    rest.remove_prefix(piece.size());
    description << piece.c_str();
    description.format().put(argument.typeCode());
  }
  description << std::string(rest).c_str();
  description.finish();
}

void TraceSite::writeText(TraceHandle& facility, std::initializer_list<TraceArgument> arguments) {
  Dualmark::FastmarkConverter converter;
  converter.stream(signature());
  converter.stream(": ");
  converter.stream(format_);
  for (const TraceArgument& argument : arguments) argument.writeTo(converter);
  converter.argument(nullptr);
  // Printing an entity may have taken its time, or have run code that switched the level off.
  if (!facility.isOn(level_)) return;
  TraceHelper line(facility, level_, facility.name(), line_, function_);
  line.stream() << converter.text();
}

const std::string& TraceSite::signature() {
  const std::string* signature = signature_.load(std::memory_order_acquire);
  if (signature == nullptr) {
    signature = internSignature(pretty_);
    signature_.store(signature, std::memory_order_release);
  }
  return *signature;
}

}  // namespace Velo

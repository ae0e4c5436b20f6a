// Traces: one statement at a place that tells what happens, out on two channels with the same
// words. First the ring trace (`Fastmark/RingTrace.h`), written whenever the process has a trace
// file; then the text trace, written where the facility's mask has the level's bit.
//
//   VELO_TRACE(FabrionTrace, 3, "%s has %s physical port(s)", name, host->port().size());
//
// A statement whose two channels are off costs one load and one test and evaluates no argument;
// otherwise each argument is evaluated once. A trace never throws: an exception in it, arguments
// included, ends the process.
#pragma once

#include <atomic>
#include <concepts>
#include <cstddef>
#include <exception>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>

#include "platform/Fastmark/RingTrace.h"
#include "platform/Fastmark/TraceGate.h"
#include "platform/Nimbo/String.h"
#include "platform/Velo/Ptr.h"
#include "platform/Velo/PtrInterface.h"
#include "platform/Velo/Types.h"

namespace Dualmark {
class FastmarkConverter;
}

namespace Velo {

// 0 to 9, the weightiest first.
using FacilityLevel = U32;

// A facility: a name and a mask with one bit per level. Lives until the process ends, since
// whatever ends in its last moments still traces; so it is made with new, once, on first use:
//
//   struct FabrionTrace {
//     static Velo::TraceHandle& handle() {
//       static Velo::TraceHandle& facility = *new Velo::TraceHandle("FabrionSm", false);
//       return facility;
//     }
//   };
class TraceHandle {
 public:
  // Starts with the mask that traceLevelsIs was given for `name`; otherwise with all levels, or
  // with none.
  TraceHandle(const char* name, bool allLevels);
  ~TraceHandle();
  TraceHandle(const TraceHandle&) = delete;
  TraceHandle& operator=(const TraceHandle&) = delete;

  const char* name() const { return name_.c_str(); }
  bool isOn(FacilityLevel level) const {
    return ((levels_.load(std::memory_order_relaxed) >> level) & 1U) != 0;
  }
  // Any thread may call.
  void levelsIs(U32 mask);

 private:
  friend struct TraceFacility;

  const std::string name_;
  std::atomic<U32> levels_;
};

// Sets the levels of a facility, bit 0 for level 0, whether or not it exists yet. Any thread may
// call.
void traceLevelsIs(const char* facility, U32 mask);

// Takes one line of text trace, without a line end; `line` is valid during the call only. Called on
// the thread that traces, in the middle of its work; must not throw.
using TraceSink = void (*)(void* context, U32 level, const char* line, std::size_t size);
// Sets the one sink of the process. Null for the one that a process starts with, which writes
// "LEVEL LINE\n" to standard error in one write.
void traceSinkIs(TraceSink sink, void* context);

// What is streamed into one line. Keeps the first text by reference until the line is closed.
class TraceStream {
 public:
  TraceStream& operator<<(std::string_view text);
  std::string_view text() const { return text_; }

 private:
  std::string_view text_;
  std::string joined_;  // only used from the second text on
};

// Writes one line to the sink when it goes.
class TraceHelper {
 public:
  // Where the line comes from stands in the line already; file, line and short function name are
  // for whoever looks at a core dump.
  TraceHelper(TraceHandle& facility, FacilityLevel level, const char* file, U32 line,
              const char* function);
  ~TraceHelper();
  TraceHelper(const TraceHelper&) = delete;
  TraceHelper& operator=(const TraceHelper&) = delete;

  TraceStream& stream() { return stream_; }
  const TraceHandle& facility() const { return facility_; }
  const char* file() const { return file_; }
  U32 line() const { return line_; }
  const char* function() const { return function_; }

 private:
  const TraceHandle& facility_;
  const FacilityLevel level_;
  const U32 line_;
  const char* const file_;
  const char* const function_;
  TraceStream stream_;
};

// Characters are no numbers to a trace; a negative number has no type code.
template <class T>
concept TraceNumber = std::same_as<T, unsigned char> || std::same_as<T, unsigned short> ||
    std::same_as<T, unsigned int> || std::same_as<T, unsigned long> ||
    std::same_as<T, unsigned long long>;

// The arguments of a trace as they reach its channels: a string, a 64-bit number, a bool or the
// address of an entity. Refers to what was given, so it lives no longer than the statement. A
// string of the runtime goes by reference: the ring copies it as it stands.
inline const Nimbo::String& traceValue(const Nimbo::String& text) { return text; }
inline std::string_view traceValue(const char* text) {
  return text == nullptr ? std::string_view() : std::string_view(text);
}
inline std::string_view traceValue(std::string_view text) { return text; }
inline std::string_view traceValue(const std::string& text) { return text; }
template <TraceNumber T>
U64 traceValue(T number) {
  return number;
}
// A template, or else every pointer would do as a bool.
template <std::same_as<bool> T>
bool traceValue(T value) {
  return value;
}
inline const PtrInterface* traceValue(const PtrInterface* entity) { return entity; }
template <class T>
const PtrInterface* traceValue(const Ptr<T>& entity) {
  return entity.get();
}

// One argument of whatever kind, for where all are walked through.
class TraceArgument {
 public:
  // Which member of the union holds the value is said by the kind, which the check does not see.
  // NOLINTBEGIN(cppcoreguidelines-pro-type-member-init)
  TraceArgument(const Nimbo::String& text) : kind_(Kind::text), text_(text.view()) {}
  TraceArgument(std::string_view text) : kind_(Kind::text), text_(text) {}
  TraceArgument(U64 number) : kind_(Kind::number), number_(number) {}
  template <std::same_as<bool> T>
  TraceArgument(T value) : kind_(Kind::boolean), number_(value ? 1 : 0) {}
  TraceArgument(const PtrInterface* entity) : kind_(Kind::entity), entity_(entity) {}
  // NOLINTEND(cppcoreguidelines-pro-type-member-init)

  const char* typeCode() const;
  void writeTo(Fastmark::RingBuf& ring) const;
  void writeTo(Dualmark::FastmarkConverter& converter) const;

 private:
  enum class Kind : U8 { text, number, boolean, entity };

  Kind kind_;
  union {
    std::string_view text_;
    U64 number_;
    const PtrInterface* entity_;
  };
};

// The same as the ring keeps them: of a number the lower 32 bits.
inline const Nimbo::String& traceInRing(const Nimbo::String& text) { return text; }
inline std::string_view traceInRing(std::string_view text) { return text; }
inline U32 traceInRing(U64 number) { return static_cast<U32>(number); }
template <std::same_as<bool> T>
bool traceInRing(T value) {
  return value;
}
inline const PtrInterface* traceInRing(const PtrInterface* entity) { return entity; }

// What the statements of one library share for one class of a facility. Each library has its own
// ones, whoever owns the facility: so the gate is a word of the library that tests it.
struct TraceFacility {
  Fastmark::TraceGate gate;
  // Makes the facility on first use, and from then on has the gate kept.
  TraceHandle& (*handle)();

  // For a statement that found the gate open: the channels it goes to, as bits of a gate.
  U32 channels(FacilityLevel level) const;
  static const std::atomic<U32>& levelsOf(const TraceHandle& handle) { return handle.levels_; }
};

template <class Facility>
[[gnu::visibility("hidden")]] TraceHandle& traceHandle();

template <class Facility>
[[gnu::visibility("hidden")]] inline constinit TraceFacility traceFacility{{},
                                                                           traceHandle<Facility>};

template <class Facility>
TraceHandle& traceHandle() {
  TraceHandle& handle = Facility::handle();
  static const Fastmark::TraceGateKeeper keeper(traceFacility<Facility>.gate,
                                                TraceFacility::levelsOf(handle));
  return handle;
}

// What one trace statement knows of itself: a static object, initialised before anything runs.
class TraceSite {
 public:
  constexpr TraceSite(FacilityLevel level, const char* pretty, const char* function,
                      const char* format, U32 line)
      : level_(level), line_(line), pretty_(pretty), function_(function), format_(format) {}

  // The two channels, in their order, as far as `channels` has their bits. One function for all
  // statements with arguments of the same kinds: it would be long to have at each.
  template <class... Values>
  [[gnu::noinline]] void write(const TraceFacility& facility, U32 channels,
                               Values... values) noexcept {
    if ((channels & Fastmark::TraceGate::ringBit) != 0 && writeKnown(values...)) [[likely]] {
      channels &= ~Fastmark::TraceGate::ringBit;
    }
    if ((channels & (Fastmark::TraceGate::ringBit | (U32{1} << level_))) != 0) [[unlikely]] {
      writeOther<Values...>(facility, channels, values...);
    }
  }

 private:
  // The ring's usual case: the file knows the site, and its message fits where the last one ended.
  // False, and nothing is written, otherwise.
  template <class... Values>
  [[gnu::always_inline]] bool writeKnown(const Values&... values) {
    Fastmark::TraceFile* const file = Fastmark::currentTraceFile();
    if (file == nullptr) return false;
    const int id = std::atomic_ref<int>(id_).load(std::memory_order_relaxed);
    return file->knows(id) && file->ring(level_)->writeMsg(file, id, traceInRing(values)...);
  }
  // With the parameters of write, which so needs no room of its own for the list.
  template <class... Values>
  [[gnu::noinline]] void writeOther(const TraceFacility& facility, U32 channels,
                                    Values... values) noexcept {
    writeEach(facility, channels, {TraceArgument(values)...});
  }
  void writeEach(const TraceFacility& facility, U32 channels,
                 std::initializer_list<TraceArgument> arguments);
  void writeRing(const TraceFacility& facility, Fastmark::TraceFile& file,
                 std::initializer_list<TraceArgument> arguments);
  void registerWith(const TraceHandle& facility, Fastmark::TraceFile& file,
                    std::initializer_list<TraceArgument> arguments);
  void writeText(TraceHandle& facility, std::initializer_list<TraceArgument> arguments);
  const std::string& signature();

  const FacilityLevel level_;
  const U32 line_;
  const char* const pretty_;
  const char* const function_;
  const char* const format_;
  int id_ = 0;  // the same in every trace file; zero until the first one
  std::atomic<const std::string*> signature_{nullptr};
};

// The writing of a statement. Made with braces, which evaluate the arguments from left to right; a
// call need not.
struct TraceWriting {
  template <class... Arguments>
  [[gnu::always_inline]] TraceWriting(TraceSite& site, const TraceFacility& facility, U32 channels,
                                      const Arguments&... arguments) {
    site.write<decltype(traceValue(arguments))...>(facility, channels, traceValue(arguments)...);
  }
};

// Ends the process when an exception passes it. A noexcept function cannot do that for the
// arguments of a call, and a lambda could not see structured bindings with every compiler.
class TraceGuard {
 public:
  TraceGuard() = default;
  TraceGuard(const TraceGuard&) = delete;
  TraceGuard& operator=(const TraceGuard&) = delete;
  ~TraceGuard() {
    if (!isDone_) std::terminate();
  }
  void done() { isDone_ = true; }

 private:
  bool isDone_ = false;
};

consteval std::size_t tracePlaceholders(std::string_view format) {
  std::size_t count = 0;
  for (std::size_t i = 0; i + 1 < format.size(); ++i) {
    if (format[i] == '%' && (format[i + 1] == 's' || format[i + 1] == 'x')) ++count;
  }
  return count;
}

// Only its result type is used, so that counting evaluates nothing.
template <class... Arguments>
std::integral_constant<std::size_t, sizeof...(Arguments)> traceCount(const Arguments&...);

}  // namespace Velo

// VELO_TRACE(facility, level, format, arguments...): `facility` is a class with a static function
// handle(), see Velo::TraceHandle; `level` and `format` are constants. "%s" in the format stands
// for one argument, "%x" for a number in hexadecimal. The line is the function's signature as g++
// writes it, ": ", and the format's words. What a traced function has to keep to, so that every
// compiler gives the same signature, is told in Signature.h.
#define VELO_TRACE(facility, level, format, ...)                                                 \
  do {                                                                                           \
    static_assert((level) < ::Fastmark::TraceFile::levels, "a trace level is 0 to 9");           \
    static_assert(                                                                               \
        ::Velo::tracePlaceholders(format) == decltype(::Velo::traceCount(__VA_ARGS__))::value,   \
        "a trace has as many arguments as its format has placeholders");                         \
    ::U32 veloTraceChannels = ::Velo::traceFacility<facility>.gate.load();                       \
    if ((veloTraceChannels & ::Fastmark::TraceGate::mask(level)) != 0) [[unlikely]] {            \
      if ((veloTraceChannels & ::Fastmark::TraceGate::openBit) != 0) [[unlikely]] {              \
        veloTraceChannels = ::Velo::traceFacility<facility>.channels(level);                     \
      }                                                                                          \
      if (veloTraceChannels != 0) {                                                              \
        static constinit ::Velo::TraceSite veloTraceSite((level), __PRETTY_FUNCTION__, __func__, \
                                                         (format), __LINE__);                    \
        ::Velo::TraceGuard veloTraceGuard;                                                       \
        static_cast<void>(::Velo::TraceWriting{veloTraceSite, ::Velo::traceFacility<facility>,   \
                                               veloTraceChannels __VA_OPT__(, ) __VA_ARGS__});   \
        veloTraceGuard.done();                                                                   \
      }                                                                                          \
    }                                                                                            \
  } while (false)

// Traces: one statement at a place that tells what happens, out on two channels with the same
// words. First the ring trace (`Fastmark/RingTrace.h`), written whenever the process has a trace
// file; then the text trace, written where the facility's mask has the level's bit.
//
//   VELO_TRACE(FabrionTrace, 3, "%s has %s physical port(s)", name, host->port().size());
//
// A statement whose two channels are off costs a test for each and evaluates no argument; otherwise
// each argument is evaluated once. A trace never throws: an exception in it, arguments included,
// ends the process.
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
  void levelsIs(U32 mask) { levels_.store(mask, std::memory_order_relaxed); }

 private:
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

// One argument of a trace, of a kind that both channels can show. Refers to what it was made of, so
// it lives no longer than the statement.
class TraceArgument {
 public:
  // Which member of the union holds the value is said by the kind, which the check does not see.
  // NOLINTBEGIN(cppcoreguidelines-pro-type-member-init)
  TraceArgument(const char* text) : kind_(Kind::text), text_(viewOf(text)) {}
  TraceArgument(std::string_view text) : kind_(Kind::text), text_(text) {}
  TraceArgument(const std::string& text) : kind_(Kind::text), text_(text) {}
  TraceArgument(const Nimbo::String& text) : kind_(Kind::text), text_(text.view()) {}
  // The ring keeps the lower 32 bits.
  template <TraceNumber T>
  TraceArgument(T number) : kind_(Kind::number), number_(number) {}
  // A template, or else every pointer would do as a bool.
  template <std::same_as<bool> T>
  TraceArgument(T value) : kind_(Kind::boolean), number_(value ? 1 : 0) {}
  TraceArgument(const PtrInterface* entity) : kind_(Kind::entity), entity_(entity) {}
  template <class T>
  TraceArgument(const Ptr<T>& entity) : kind_(Kind::entity), entity_(entity.get()) {}
  // NOLINTEND(cppcoreguidelines-pro-type-member-init)

  const char* typeCode() const;
  void writeTo(Fastmark::RingBuf& ring) const;
  void writeTo(Dualmark::FastmarkConverter& converter) const;

 private:
  enum class Kind : U8 { text, number, boolean, entity };

  static std::string_view viewOf(const char* text) {
    return text == nullptr ? std::string_view() : std::string_view(text);
  }

  Kind kind_;
  union {
    std::string_view text_;
    U64 number_;
    const PtrInterface* entity_;
  };
};

// What one trace statement knows of itself: a static object, initialised before anything runs.
class TraceSite {
 public:
  constexpr TraceSite(FacilityLevel level, const char* pretty, const char* function,
                      const char* format, U32 line)
      : level_(level), line_(line), pretty_(pretty), function_(function), format_(format) {}

  // The two channels, in their order; `file` is null and `toText` false where the channel is off.
  void write(TraceHandle& facility, Fastmark::TraceFile* file, bool toText,
             std::initializer_list<TraceArgument> arguments) noexcept;

 private:
  void writeRing(const TraceHandle& facility, Fastmark::TraceFile& file,
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
#define VELO_TRACE(facility, level, format, ...)                                               \
  do {                                                                                         \
    static_assert((level) < ::Fastmark::TraceFile::levels, "a trace level is 0 to 9");         \
    static_assert(                                                                             \
        ::Velo::tracePlaceholders(format) == decltype(::Velo::traceCount(__VA_ARGS__))::value, \
        "a trace has as many arguments as its format has placeholders");                       \
    static constinit ::Velo::TraceSite veloTraceSite((level), __PRETTY_FUNCTION__, __func__,   \
                                                     (format), __LINE__);                      \
    ::Fastmark::TraceFile* const veloTraceFile = ::Fastmark::currentTraceFile();               \
    ::Velo::TraceHandle& veloTraceFacility = facility::handle();                               \
    const bool veloTraceText = veloTraceFacility.isOn(level);                                  \
    if (veloTraceFile != nullptr || veloTraceText) [[unlikely]] {                              \
      ::Velo::TraceGuard veloTraceGuard;                                                       \
      veloTraceSite.write(veloTraceFacility, veloTraceFile, veloTraceText, {__VA_ARGS__});     \
      veloTraceGuard.done();                                                                   \
    }                                                                                          \
  } while (false)

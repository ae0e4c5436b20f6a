#include "platform/Fastmark/RingTrace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <barrier>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using Fastmark::MsgDesc;
using Fastmark::RingBuf;
using Fastmark::TraceFile;
using Fastmark::TraceHandle;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::size_t headBytes = 16;

// Writes messages by hand, as a trace site does: a number and a string.
class Site {
 public:
  explicit Site(U32 level = 3) : level_(level) {}

  void enter(TraceFile& file) {
    MsgDesc description(&file, &id_, "Tested", 7);
    description << "here: %s";
    description.format().put("i");
    description << " and %s";
    description.format().put("p");
    description << ".";
    description.finish();
  }
  void write(TraceFile& file, U32 number, std::string_view text) const {
    RingBuf* ring = file.ring(level_);
    ring->startMsg(&file, id_);
    if (ring->hasWriteArea()) ring->write(number);
    if (ring->hasWriteArea()) Fastmark::put(ring, text);
    ring->endMsg();
  }
  int id() const { return id_; }

 private:
  const U32 level_;
  int id_ = 0;
};

std::vector<std::string> texts(const TraceFile& file, U32 level,
                               const TraceFile::EntityText& entity = {}) {
  std::vector<std::string> result;
  file.forEach(
      level, [&](const TraceFile::Message& m) { result.push_back(m.text); }, entity);
  return result;
}

std::vector<U64> sequences(const TraceFile& file, U32 level) {
  std::vector<U64> result;
  file.forEach(level, [&](const TraceFile::Message& m) { result.push_back(m.sequence); });
  return result;
}

TEST(TraceFile, KnowsASiteOnlyAfterItHasRegistered) {
  TraceFile file;
  Site site;
  EXPECT_FALSE(file.knows(site.id()));
  site.enter(file);
  EXPECT_NE(site.id(), 0);
  EXPECT_TRUE(file.knows(site.id()));
  EXPECT_FALSE(file.knows(0));
  EXPECT_FALSE(file.knows(site.id() + 1000));
  EXPECT_FALSE(file.knows(-1));
}

TEST(TraceFile, ASiteKeepsItsNumberInALaterFile) {
  TraceFile first;
  Site site;
  site.enter(first);
  const int id = site.id();
  TraceFile second;
  EXPECT_FALSE(second.knows(id));
  site.enter(second);
  EXPECT_EQ(site.id(), id);
  EXPECT_TRUE(second.knows(id));
}

TEST(TraceFile, TwoSitesHaveTwoNumbers) {
  TraceFile file;
  Site one;
  Site two;
  one.enter(file);
  two.enter(file);
  EXPECT_NE(one.id(), two.id());
}

TEST(TraceFile, AMessageReadsAsItsDescriptionWithItsArguments) {
  TraceFile file;
  Site site(3);
  site.enter(file);
  site.write(file, 4294967295U, "leaf1");
  EXPECT_THAT(texts(file, 3), ElementsAre("here: 4294967295 and leaf1."));
  for (U32 level = 0; level < TraceFile::levels; ++level) {
    if (level != 3) {
      EXPECT_THAT(texts(file, level), IsEmpty()) << level;
    }
  }
}

TEST(TraceFile, AMessageTellsWhereItComesFrom) {
  TraceFile file;
  Site site(9);
  site.enter(file);
  site.write(file, 1, "");
  int seen = 0;
  file.forEach([&](const TraceFile::Message& m) {
    ++seen;
    EXPECT_EQ(m.level, 9U);
    EXPECT_EQ(m.sequence, 1U);
    EXPECT_EQ(m.sourceFile, "Tested");
    EXPECT_EQ(m.sourceLine, 7U);
  });
  EXPECT_EQ(seen, 1);
}

TEST(TraceFile, LevelsShareOneSequence) {
  TraceFile file;
  Site three(3);
  Site nine(9);
  three.enter(file);
  nine.enter(file);
  nine.write(file, 1, "a");
  three.write(file, 2, "b");
  nine.write(file, 3, "c");
  std::vector<std::string> all;
  file.forEach([&](const TraceFile::Message& m) { all.push_back(m.text); });
  EXPECT_THAT(all, ElementsAre("here: 1 and a.", "here: 2 and b.", "here: 3 and c."));
  EXPECT_THAT(sequences(file, 9), ElementsAre(1U, 3U));
}

TEST(TraceFile, ReadsEveryTypeCode) {
  TraceFile file;
  int id = 0;
  MsgDesc description(&file, &id, "Tested", 1);
  description << "%s %x %s %s %s";
  for (const char* code : {"p", "i", "b", "q", "q"}) description.format().put(code);
  description.finish();
  RingBuf* ring = file.ring(0);
  ring->startMsg(&file, id);
  Fastmark::put(ring, "text");
  ring->write(U32{255});
  ring->write(U8{1});
  ring->write(U64{0});
  ring->write(U64{0x1234});
  ring->endMsg();
  EXPECT_THAT(texts(file, 0), ElementsAre("text ff 1 null entity"));
  EXPECT_THAT(texts(file, 0, [](U64 pointer) { return "<" + std::to_string(pointer) + ">"; }),
              ElementsAre("text ff 1 null <4660>"));
}

TEST(TraceFile, AStringArgumentKeepsItsZeroBytesAndPlaceholders) {
  TraceFile file;
  Site site;
  site.enter(file);
  site.write(file, 1, std::string_view("a\0%s", 4));
  EXPECT_THAT(texts(file, 3), ElementsAre(std::string("here: 1 and a\0%s.", 17)));
}

TEST(TraceFile, ANullTextIsAnEmptyOne) {
  TraceFile file;
  int id = 0;
  MsgDesc description(&file, &id, "Tested", 1);
  description << "[%s]";
  description.format().put("p");
  description.finish();
  file.ring(0)->startMsg(&file, id);
  Fastmark::put(file.ring(0), static_cast<const char*>(nullptr));
  file.ring(0)->endMsg();
  EXPECT_THAT(texts(file, 0), ElementsAre("[]"));
}

TEST(RingBuf, HasAWriteAreaOnlyWithinAMessage) {
  TraceFile file;
  RingBuf ring(64);
  EXPECT_FALSE(ring.hasWriteArea());
  ring.startMsg(&file, 1);
  EXPECT_TRUE(ring.hasWriteArea());
  ring.endMsg();
  EXPECT_FALSE(ring.hasWriteArea());
}

TEST(RingBuf, RoundsItsSizeUpToAPowerOfTwo) {
  EXPECT_EQ(RingBuf(0).capacity(), 64U);
  EXPECT_EQ(RingBuf(64).capacity(), 64U);
  EXPECT_EQ(RingBuf(65).capacity(), 128U);
}

TEST(RingBuf, OverwritesWholeMessagesTheOldestFirst) {
  TraceFile file(64);  // 64 bytes take two messages of 16 + 4 + 4 + 2 bytes
  Site site;
  site.enter(file);
  for (U32 i = 1; i <= 5; ++i) site.write(file, i, "ab");
  EXPECT_THAT(texts(file, 3), ElementsAre("here: 4 and ab.", "here: 5 and ab."));
  EXPECT_THAT(sequences(file, 3), ElementsAre(4U, 5U));
}

TEST(RingBuf, OneLongMessageTakesThePlaceOfManyShortOnes) {
  TraceFile file(256);
  Site site;
  site.enter(file);
  for (U32 i = 0; i < 10; ++i) site.write(file, i, "");
  const std::string filling(256 - headBytes - 8, 'x');
  site.write(file, 10, filling);
  EXPECT_THAT(texts(file, 3), ElementsAre("here: 10 and " + filling + "."));
}

TEST(RingBuf, AMessageThatDoesNotFitIsItsHeadAlone) {
  TraceFile file(64);
  Site site;
  site.enter(file);
  site.write(file, 1, std::string(64 - headBytes - 8 + 1, 'x'));
  EXPECT_THAT(texts(file, 3), ElementsAre("here: %s and %s."));
  site.write(file, 2, "after");
  EXPECT_THAT(texts(file, 3), ElementsAre("here: %s and %s.", "here: 2 and after."));
}

TEST(RingBuf, AMessageThatCannotFitClosesTheWriteArea) {
  TraceFile file;
  RingBuf ring(64);
  ring.startMsg(&file, 1);
  Fastmark::put(&ring, std::string(1000, 'x'));
  EXPECT_FALSE(ring.hasWriteArea());
  ring.endMsg();
  std::vector<std::size_t> sizes;
  ring.forEach([&](const RingBuf::Message& m) { sizes.push_back(m.arguments.size()); });
  EXPECT_THAT(sizes, ElementsAre(0U));
}

TEST(RingBuf, AnOpenMessageIsNotRead) {
  TraceFile file;
  RingBuf ring(64);
  ring.startMsg(&file, 1);
  ring.write(U32{1});
  ring.forEach([](const RingBuf::Message&) { ADD_FAILURE(); });
}

// What a ring holds, told by the sizes of what was written: runs of neighbouring segments.
class Expected {
 public:
  explicit Expected(std::size_t capacity) : segment_(capacity / segments) {}

  void write(std::size_t bytes, std::string text) {
    if (runs_.empty() || runs_.back().used + bytes > runs_.back().count * segment_) {
      open((bytes + segment_ - 1) / segment_);
    }
    runs_.back().used += bytes;
    runs_.back().texts.push_back(std::move(text));
  }
  std::vector<std::string> texts() const {
    std::vector<std::string> result;
    for (const Run& run : runs_) result.insert(result.end(), run.texts.begin(), run.texts.end());
    return result;
  }

 private:
  static constexpr std::size_t segments = 8;
  struct Run {
    std::size_t first;
    std::size_t count;
    std::size_t used = 0;
    std::vector<std::string> texts{};
  };

  void open(std::size_t count) {
    std::size_t first = runs_.empty() ? 0 : runs_.back().first + runs_.back().count;
    if (first + count > segments) {
      drop(first, segments);
      first = 0;
    }
    drop(first, first + count);
    runs_.push_back({first, count});
  }
  void drop(std::size_t from, std::size_t to) {
    std::erase_if(runs_, [=](const Run& run) { return run.first >= from && run.first < to; });
  }

  std::size_t segment_;
  std::vector<Run> runs_;  // the oldest first
};

TEST(RingBuf, HoldsTheNewestMessagesThroughManyTurns) {
  for (const std::size_t capacity : {64U, 128U, 256U, 1024U}) {
    TraceFile file(capacity);
    Expected expected(capacity);
    Site site;
    site.enter(file);
    for (U32 i = 0; i < 2000; ++i) {
      const std::string text(i * 7 % 41, static_cast<char>('a' + i % 26));
      site.write(file, i, text);
      expected.write(headBytes + 8 + text.size(),
                     "here: " + std::to_string(i) + " and " + text + ".");
      ASSERT_EQ(texts(file, 3), expected.texts()) << capacity << ' ' << i;
      const std::vector<U64> held = sequences(file, 3);
      ASSERT_EQ(held.back(), i + 1U);
      ASSERT_EQ(held.back() - held.front() + 1, held.size());
    }
  }
}

TEST(RingBuf, HoldsSevenEighthsOfItsSizeWhenItsMessagesAreShort) {
  TraceFile file(4096);
  Site site;
  site.enter(file);
  for (U32 i = 0; i < 1000; ++i) {
    site.write(file, i, "12345678");  // 32 bytes, of which a segment holds 16
    ASSERT_GE(texts(file, 3).size(), std::min<std::size_t>(i + 1, 7 * 16 + 1));
  }
}

// With all its arguments at once where that is possible, as a trace site writes.
void writeAtOnce(TraceFile& file, U32 level, int id, U32 number, const Nimbo::String& text,
                 int* atOnce) {
  RingBuf* ring = file.ring(level);
  if (ring->writeMsg(&file, id, number, text)) {
    ++*atOnce;
    return;
  }
  ring->startMsg(&file, id);
  if (ring->hasWriteArea()) ring->write(number);
  if (ring->hasWriteArea()) Fastmark::put(ring, text.view());
  ring->endMsg();
}

TEST(RingBuf, AMessageWrittenAtOnceReadsAsOneWrittenPieceByPiece) {
  for (const std::size_t capacity : {64U, 256U, 512U, 4096U}) {
    TraceFile pieces(capacity);
    TraceFile whole(capacity);
    Site site;
    site.enter(pieces);
    site.enter(whole);
    int atOnce = 0;
    for (U32 i = 0; i < 3000; ++i) {
      // Short ones that stand in the string itself, long ones, now and then one that takes several
      // segments, and one that is larger than the ring.
      const std::size_t size = i % 97 == 0 ? capacity : i % 31 == 0 ? capacity / 3 : i * 7 % 30;
      const std::string text(size, static_cast<char>('a' + i % 26));
      site.write(pieces, i, text);
      writeAtOnce(whole, 3, site.id(), i, Nimbo::String(text), &atOnce);
      ASSERT_EQ(texts(whole, 3), texts(pieces, 3)) << capacity << ' ' << i;
      ASSERT_EQ(sequences(whole, 3), sequences(pieces, 3)) << capacity << ' ' << i;
    }
    // The shorter a segment, the more messages come too near to its end.
    if (capacity >= 512) {
      EXPECT_GT(atOnce, 0) << capacity;
    }
    if (capacity >= 4096) {
      EXPECT_GT(atOnce, 2000) << capacity;
    }
  }
}

TEST(RingBuf, AMessageAtOnceHoldsEveryKindOfArgument) {
  TraceFile file;
  int id = 0;
  MsgDesc description(&file, &id, "Tested", 1);
  description << "%s %s %x %s %s %s";
  for (const char* code : {"p", "p", "i", "b", "q", "p"}) description.format().put(code);
  description.finish();
  const int object = 0;
  const int* const none = nullptr;
  const Nimbo::String longText(std::string(100, 'x'));
  EXPECT_TRUE(file.ring(0)->writeMsg(&file, id, Nimbo::String("leaf1"), longText, U32{255}, true,
                                     none, std::string_view("a\0b", 3)));
  EXPECT_TRUE(file.ring(0)->writeMsg(&file, id, Nimbo::String(),
                                     Nimbo::String("12345678901234567890123"), U32{0}, false,
                                     &object, std::string_view()));
  EXPECT_THAT(texts(file, 0),
              ElementsAre("leaf1 " + std::string(100, 'x') + " ff 1 null " + std::string("a\0b", 3),
                          " 12345678901234567890123 0 0 entity "));
}

TEST(RingTraceHandle, IsNullByDefault) {
  EXPECT_EQ(Fastmark::defaultFastmarkHandle, nullptr);
  EXPECT_EQ(Fastmark::currentTraceFile(), nullptr);
}

TEST(RingTraceHandle, TheDefaultOneServesAsThePointerThatItHolds) {
  TraceHandle handle(std::make_unique<TraceFile>());
  Fastmark::defaultFastmarkHandle = &handle;
  TraceHandle* const pointer = Fastmark::defaultFastmarkHandle;
  EXPECT_EQ(pointer, &handle);
  EXPECT_TRUE(Fastmark::defaultFastmarkHandle == &handle);
  EXPECT_EQ(Fastmark::defaultFastmarkHandle->traceFile(), handle.traceFile());
  EXPECT_TRUE(Fastmark::defaultFastmarkHandle);
  Fastmark::defaultFastmarkHandle = nullptr;
  EXPECT_FALSE(Fastmark::defaultFastmarkHandle);
}

TEST(RingTraceHandle, MayHaveNoFile) {
  TraceHandle handle(nullptr);
  Fastmark::defaultFastmarkHandle = &handle;
  EXPECT_EQ(Fastmark::currentTraceFile(), nullptr);
  Fastmark::defaultFastmarkHandle = nullptr;
}

TEST(RingTraceHandle, OfOneThreadGivesItsFile) {
  auto file = std::make_unique<TraceFile>();
  TraceFile* const expected = file.get();
  TraceHandle handle(std::move(file));
  EXPECT_FALSE(handle.isMultiThreaded());
  Fastmark::defaultFastmarkHandle = &handle;
  EXPECT_EQ(Fastmark::currentTraceFile(), expected);
  handle.traceFileIs(std::make_unique<TraceFile>());
  EXPECT_EQ(Fastmark::currentTraceFile(), handle.traceFile());
  Fastmark::defaultFastmarkHandle = nullptr;
}

TEST(RingTraceHandle, OfManyThreadsGivesEachItsOwnFile) {
  TraceHandle handle(TraceHandle::PerThread{1024});
  EXPECT_TRUE(handle.isMultiThreaded());
  Fastmark::defaultFastmarkHandle = &handle;
  TraceFile* const own = Fastmark::currentTraceFile();
  ASSERT_NE(own, nullptr);
  EXPECT_EQ(Fastmark::currentTraceFile(), own);
  TraceFile* other = nullptr;
  std::thread([&] { other = Fastmark::currentTraceFile(); }).join();
  EXPECT_NE(other, own);
  std::vector<const TraceFile*> files;
  handle.forEachFile([&](const TraceFile& file) { files.push_back(&file); });
  EXPECT_THAT(files, ElementsAre(own, other));
  Fastmark::defaultFastmarkHandle = nullptr;
}

TEST(RingTraceHandle, ALaterHandleAtTheSameAddressGivesANewFile) {
  alignas(TraceHandle) unsigned char place[sizeof(TraceHandle)];
  auto* first = new (place) TraceHandle(TraceHandle::PerThread{64});
  Site site;
  site.enter(*first->mtTraceFile());
  first->~TraceHandle();
  auto* second = new (place) TraceHandle(TraceHandle::PerThread{64});
  EXPECT_FALSE(second->mtTraceFile()->knows(site.id()));
  second->~TraceHandle();
}

TEST(RingTraceHandle, ThreadsThatRegisterOneSiteTogetherAgreeOnItsNumber) {
  constexpr std::size_t count = 2000;
  std::vector<Site> sites(count);
  TraceFile one(64);
  TraceFile two(64);
  std::barrier together(2);
  const auto enterAll = [&](TraceFile& file) {
    for (Site& site : sites) {
      together.arrive_and_wait();
      site.enter(file);
    }
  };
  std::thread other([&] { enterAll(one); });
  enterAll(two);
  other.join();
  for (const Site& site : sites) {
    ASSERT_TRUE(one.knows(site.id()));
    ASSERT_TRUE(two.knows(site.id()));
  }
}

}  // namespace

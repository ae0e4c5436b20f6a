#include "platform/Dualmark/FastmarkConverter.h"

#include <charconv>
#include <locale>
#include <ostream>
#include <streambuf>
#include <string>

#include "platform/Velo/PtrInterface.h"

namespace Dualmark {

namespace {

class AppendingBuffer : public std::streambuf {
 public:
  explicit AppendingBuffer(std::string& target) : target_(target) {}

 private:
  int_type overflow(int_type c) override {
    if (c != traits_type::eof()) target_ += traits_type::to_char_type(c);
    return traits_type::not_eof(c);
  }
  std::streamsize xsputn(const char* text, std::streamsize size) override {
    target_.append(text, static_cast<std::size_t>(size));
    return size;
  }

  std::string& target_;
};

}  // namespace

// Making a stream costs more than printing most entities, so one is kept with the buffers.
struct FastmarkConverter::Workspace {
  std::string text;
  std::string entity;
  AppendingBuffer buffer{entity};
  std::ostream out{&buffer};
  bool isOfThread = false;
  bool isTaken = false;

  Workspace() {
    out.imbue(std::locale::classic());  // numbers print alike under any locale of the process
    out.exceptions(std::ios_base::badbit);
  }

  // Empties the entity's text and forgets what the last one may have left in the stream's format.
  void startEntity() {
    entity.clear();
    out.clear();
    out.flags(std::ios_base::dec | std::ios_base::skipws);
    out.fill(' ');
    out.precision(6);
    out.width(0);
  }
};

// The thread's own workspace, or a new one while that is taken, and after it has gone: machines
// that end in the last moments of the process trace too.
FastmarkConverter::Workspace* FastmarkConverter::acquire() {
  thread_local constinit bool hasGone = false;
  struct OfThread : Workspace {
    OfThread() { isOfThread = true; }
    ~OfThread() { hasGone = true; }
  };
  if (!hasGone) {
    thread_local OfThread ofThread;
    if (!ofThread.isTaken) {
      ofThread.isTaken = true;
      ofThread.text.clear();
      return &ofThread;
    }
  }
  return new Workspace;
}

FastmarkConverter::FastmarkConverter() : workspace_(acquire()) {}

FastmarkConverter::~FastmarkConverter() {
  if (workspace_->isOfThread) {
    workspace_->isTaken = false;
  } else {
    delete workspace_;
  }
}

void FastmarkConverter::stream(std::string_view piece) { workspace_->text += piece; }

void FastmarkConverter::argument(std::string_view text) {
  if (seek()) replace(text);
}

void FastmarkConverter::argument(U64 number) {
  if (!seek()) return;
  char digits[20];  // the largest number in decimal
  const int base = workspace_->text[position_ + 1] == 'x' ? 16 : 10;
  const auto end = std::to_chars(std::begin(digits), std::end(digits), number, base).ptr;
  replace({digits, static_cast<std::size_t>(end - digits)});
}

void FastmarkConverter::argument(const Velo::PtrInterface* entity) {
  if (!seek()) return;
  workspace_->startEntity();
  workspace_->out << entity;
  replace(workspace_->entity);
}

void FastmarkConverter::argument(std::nullptr_t) { position_ = workspace_->text.size(); }

std::string_view FastmarkConverter::text() const { return workspace_->text; }

bool FastmarkConverter::seek() {
  const std::string& text = workspace_->text;
  while ((position_ = text.find('%', position_)) != std::string::npos) {
    const char kind = position_ + 1 < text.size() ? text[position_ + 1] : '\0';
    if (kind == 's' || kind == 'x') return true;
    ++position_;
  }
  position_ = text.size();
  return false;
}

void FastmarkConverter::replace(std::string_view rendered) {
  workspace_->text.replace(position_, 2, rendered);
  position_ += rendered.size();
}

}  // namespace Dualmark

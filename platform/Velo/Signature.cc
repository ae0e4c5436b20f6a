#include "platform/Velo/Signature.h"

#include <cstddef>
#include <utility>

namespace Velo {

namespace {

bool isWordChar(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

// Walks over the text once and respells it piece by piece.
class Respelling {
 public:
  explicit Respelling(std::string_view in) : in_(in) {}

  std::string result() {
    while (at_ < in_.size()) {
      if (isWordChar(in_[at_])) {
        word();
      } else {
        symbol();
      }
    }
    return std::move(out_);
  }

 private:
  char peek(std::size_t ahead = 0) const {
    return at_ + ahead < in_.size() ? in_[at_ + ahead] : '\0';
  }
  bool skip(std::string_view text) {
    if (in_.substr(at_, text.size()) != text) return false;
    at_ += text.size();
    return true;
  }
  void put(std::string_view text) { out_ += text; }
  bool outEndsWith(char c) const { return !out_.empty() && out_.back() == c; }
  std::string_view wordAt(std::size_t at) const {
    std::size_t end = at;
    while (end < in_.size() && isWordChar(in_[end])) ++end;
    return in_.substr(at, end - at);
  }

  void word() {
    const std::string_view word = wordAt(at_);
    if (word == "unsigned" || word == "long" || word == "short") return integer();
    const bool isQualified = outEndsWith(':');
    if (word == "const" && startsParameter() && parameterIsValue()) {
      at_ += word.size() + 1;
      return;
    }
    at_ += word.size();
    if (word == "operator") {
      out_ += word;
      while (std::string_view("+-*/%^&|~!=<>,[]").find(peek()) != std::string_view::npos &&
             peek() != '\0') {
        out_ += in_[at_++];
      }
      if (skip("()")) out_ += "()";
      return;
    }
    // Within a template's arguments g++ looks through the names of types.
    if (angles_ > 0 && !isQualified) {
      if (word == "U8") return put("unsigned char");
      if (word == "U16") return put("short unsigned int");
      if (word == "U32") return put("unsigned int");
      if (word == "U64") return put("long unsigned int");
    }
    out_ += word;
  }

  // `unsigned long` to `long unsigned int`, and so on.
  void integer() {
    bool isUnsigned = false;
    bool isShort = false;
    int longs = 0;
    std::string_view last;
    for (;;) {
      const std::string_view word = wordAt(at_);
      if (word == "unsigned") {
        isUnsigned = true;
      } else if (word == "short") {
        isShort = true;
      } else if (word == "long") {
        ++longs;
      } else if (word != "int" && word != "char" && word != "double") {
        --at_;  // the blank before a word that does not belong here
        break;
      } else {
        last = word;
      }
      at_ += word.size();
      if (peek() != ' ' || !isWordChar(peek(1))) break;
      ++at_;
    }
    for (; longs > 0; --longs) out_ += "long ";
    if (isShort) out_ += "short ";
    if (isUnsigned) out_ += "unsigned ";
    out_ += last.empty() ? "int" : last;
  }

  bool startsParameter() const {
    return parentheses_ == 1 && angles_ == 0 &&
           (outEndsWith('(') || (out_.size() > 1 && out_.ends_with(", ")));
  }
  // True if the parameter that starts here is neither pointer nor reference: its const is its own,
  // which g++ leaves out.
  bool parameterIsValue() const {
    int angles = 0;
    for (std::size_t i = at_; i < in_.size(); ++i) {
      const char c = in_[i];
      if (c == '<') ++angles;
      if (c == '>') --angles;
      if (angles > 0) continue;
      if (c == '&' || c == '*' || c == '(') return false;
      if (c == ',' || c == ')') return true;
    }
    return false;
  }

  void symbol() {
    const char c = in_[at_];
    if (c == ' ' && (peek(1) == '&' || peek(1) == '*') && !outEndsWith(')')) return declarator();
    if (c == '(' && skip("(anonymous namespace)")) return put("{anonymous}");
    if (c == ' ' && peek(1) == '(' && angles_ > 0 && peek(2) != '*' && peek(2) != '&') {
      ++at_;  // the type of a function
      return;
    }
    if (c == '[' && outEndsWith(' ')) return templateArguments();
    if (c == '<') ++angles_;
    if (c == '>') {
      if (outEndsWith('>')) out_ += ' ';
      --angles_;
    }
    if (c == '(') ++parentheses_;
    if (c == ')') --parentheses_;
    out_ += c;
    ++at_;
  }

  // Clang sets `&` and `*` to what follows them, g++ to what stands before.
  void declarator() {
    ++at_;
    while (peek() == '&' || peek() == '*') out_ += in_[at_++];
    if (wordAt(at_) == "const" && angles_ == 0 && (peek(5) == ',' || peek(5) == ')')) {
      at_ += 5;  // the pointer's own const, as in parameterIsValue
      return;
    }
    if (isWordChar(peek()) || peek() == '(') out_ += ' ';
  }

  // ` [T = int, U = bool]` to ` [with T = int; U = bool]`; what g++ wrote begins with `with`
  // already.
  void templateArguments() {
    out_ += '[';
    ++at_;
    if (wordAt(at_) == "with") return;
    out_ += "with ";
    std::string_view rest = in_.substr(at_);
    std::string inner = Respelling(rest).result();
    for (std::size_t comma = 0; (comma = inner.find(", ", comma)) != std::string::npos; ++comma) {
      const std::size_t name = comma + 2;
      std::size_t end = name;
      while (end < inner.size() && isWordChar(inner[end])) ++end;
      if (end > name && inner.compare(end, 3, " = ") == 0) inner[comma] = ';';
    }
    out_ += inner;
    at_ = in_.size();
  }

  const std::string_view in_;
  std::string out_;
  std::size_t at_ = 0;
  int angles_ = 0;
  int parentheses_ = 0;
};

}  // namespace

std::string signatureAsGcc(std::string_view pretty) { return Respelling(pretty).result(); }

}  // namespace Velo

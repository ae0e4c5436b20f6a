#include "host/Table.h"

#include <libsmartcols.h>

#include <clocale>
#include <cstdlib>
#include <new>

namespace Fabrion::Host {

namespace {

// libsmartcols asks the locale how wide a character is, and escapes what the locale does not have.
// This one has all characters and is part of the C library. It holds for the calling thread, for as
// long as this object lives.
class CharactersOfUtf8 {
 public:
  CharactersOfUtf8() : locale_(newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)) {
    if (locale_ != nullptr) before_ = uselocale(locale_);
  }
  ~CharactersOfUtf8() {
    if (locale_ == nullptr) return;
    uselocale(before_);
    freelocale(locale_);
  }
  CharactersOfUtf8(const CharactersOfUtf8&) = delete;
  CharactersOfUtf8& operator=(const CharactersOfUtf8&) = delete;

 private:
  const locale_t locale_;
  locale_t before_ = nullptr;
};

// Its calls fail for want of memory alone, as they are used here.
void done(int status) {
  if (status != 0) throw std::bad_alloc();
}

}  // namespace

void Table::Drop::operator()(libscols_table* table) const { scols_unref_table(table); }

Table::Table(std::initializer_list<const char*> headings) : table_(scols_new_table()) {
  if (table_ == nullptr) throw std::bad_alloc();
  done(scols_table_set_termforce(table_.get(), SCOLS_TERMFORCE_NEVER));
  done(scols_table_set_column_separator(table_.get(), "  "));
  for (const char* heading : headings) {
    if (scols_table_new_column(table_.get(), heading, 0, 0) == nullptr) throw std::bad_alloc();
  }
}

void Table::add(const std::vector<std::string>& cells) {
  libscols_line* const line = scols_table_new_line(table_.get(), nullptr);
  if (line == nullptr) throw std::bad_alloc();
  for (std::size_t i = 0; i < cells.size(); ++i) {
    done(scols_line_set_data(line, i, cells[i].c_str()));
  }
}

std::string Table::text() const {
  const CharactersOfUtf8 locale;
  char* drawn = nullptr;
  done(scols_print_table_to_string(table_.get(), &drawn));
  const std::unique_ptr<char, decltype(&std::free)> held(drawn, &std::free);
  return std::string(drawn) + '\n';
}

}  // namespace Fabrion::Host

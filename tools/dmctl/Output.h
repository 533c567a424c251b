// Human tables and JSON for dmctl's output.
//
// A command fills a Table of typed cells; Print writes it as aligned columns,
// or, with --json, as an array of objects whose keys are the column names and
// whose values keep their type (numbers, booleans, null, embedded documents).
// Text that is not valid UTF-8 has each bad byte replaced by U+FFFD, so the
// output is always JSON.
#ifndef DEVMGMT_TOOLS_DMCTL_OUTPUT_H_
#define DEVMGMT_TOOLS_DMCTL_OUTPUT_H_

#include <cstdint>
#include <cstdio>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace dmctl {

// One value of a row.
class Cell {
 public:
  enum class Kind { kNull, kText, kNumber, kBool, kDocument, kList };

  Cell() = default;
  Cell(std::nullptr_t) {}
  Cell(std::string text) : m_kind(Kind::kText), m_text(std::move(text)) {}
  Cell(const char* text) : m_kind(text ? Kind::kText : Kind::kNull), m_text(text ? text : "") {}
  template <typename Number,
            typename = std::enable_if_t<std::is_integral<Number>::value && !std::is_same<Number, bool>::value>>
  Cell(Number number) : m_kind(Kind::kNumber), m_number(static_cast<int64_t>(number)) {}
  Cell(bool value) : m_kind(Kind::kBool), m_number(value ? 1 : 0) {}
  Cell(std::vector<std::string> words) : m_kind(Kind::kList), m_list(std::move(words)) {}
  // A JSON text embedded as it is when it parses, else kept as a string;
  // null when empty.
  static Cell Document(std::string json);

  Kind kind() const { return m_kind; }
  // The cell as a table shows it ("" for null).
  std::string Text() const;
  // The cell as one JSON value.
  std::string Json() const;

 private:
  Kind m_kind = Kind::kNull;
  std::string m_text;
  int64_t m_number = 0;
  std::vector<std::string> m_list;
};

using Members = std::vector<std::pair<std::string, Cell>>;

class Table {
 public:
  explicit Table(std::vector<std::string> columns) : m_columns(std::move(columns)) {}

  void AddRow(std::vector<Cell> cells);

  void Print(bool json, FILE* out = stdout) const;
  // One row as one JSON object on its own line (for streams such as listen).
  void PrintRowAsJsonLine(size_t row, FILE* out = stdout) const;
  size_t size() const { return m_rows.size(); }

 private:
  std::string RowJson(size_t row) const;

  std::vector<std::string> m_columns;
  std::vector<std::vector<Cell>> m_rows;
};

// One object, in member order: one JSON line, or "name  value" lines.
void PrintObject(const Members& members, bool json, FILE* out = stdout);

// The text with every byte that is not part of valid UTF-8 replaced by U+FFFD.
std::string ValidUtf8(const std::string& text);

}  // namespace dmctl

#endif  // DEVMGMT_TOOLS_DMCTL_OUTPUT_H_

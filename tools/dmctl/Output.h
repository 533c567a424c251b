// Human tables and JSON for dmctl's output.
//
// A command fills a Table; Print writes it as aligned columns, or, with
// --json, as an array of objects whose keys are the column names. Cells that
// hold JSON documents (cards, payloads) can be marked so that --json embeds
// them instead of quoting them.
#ifndef DEVMGMT_TOOLS_DMCTL_OUTPUT_H_
#define DEVMGMT_TOOLS_DMCTL_OUTPUT_H_

#include <cstdio>
#include <string>
#include <vector>

namespace dmctl {

class Table {
 public:
  explicit Table(std::vector<std::string> columns) : m_columns(std::move(columns)) {}

  // Marks a column whose cells are JSON texts.
  void SetJsonColumn(const std::string& column);
  void AddRow(std::vector<std::string> cells);

  void Print(bool json, FILE* out = stdout) const;
  // One row as one JSON object on its own line (for streams such as listen).
  void PrintRowAsJsonLine(size_t row, FILE* out = stdout) const;
  size_t size() const { return m_rows.size(); }

 private:
  std::string RowJson(size_t row) const;

  std::vector<std::string> m_columns;
  std::vector<bool> m_json_columns;
  std::vector<std::vector<std::string>> m_rows;
};

// One JSON object of string members, in order (for single results).
void PrintObject(const std::vector<std::pair<std::string, std::string>>& members, bool json,
                 FILE* out = stdout);

}  // namespace dmctl

#endif  // DEVMGMT_TOOLS_DMCTL_OUTPUT_H_

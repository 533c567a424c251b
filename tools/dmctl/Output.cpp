#include "tools/dmctl/Output.h"

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>

namespace dmctl {
namespace {

// Cells marked as JSON are embedded when they parse, quoted otherwise.
void WriteCell(rapidjson::Writer<rapidjson::StringBuffer>& writer, const std::string& cell, bool json) {
  if (json && !cell.empty()) {
    rapidjson::Document probe;
    if (!probe.Parse(cell.c_str(), cell.size()).HasParseError()) {
      writer.RawValue(cell.c_str(), cell.size(), probe.GetType());
      return;
    }
  }
  writer.String(cell.c_str(), static_cast<rapidjson::SizeType>(cell.size()));
}

}  // namespace

void Table::SetJsonColumn(const std::string& column) {
  m_json_columns.resize(m_columns.size(), false);
  for (size_t i = 0; i < m_columns.size(); ++i) {
    if (m_columns[i] == column) m_json_columns[i] = true;
  }
}

void Table::AddRow(std::vector<std::string> cells) {
  cells.resize(m_columns.size());
  m_rows.push_back(std::move(cells));
}

std::string Table::RowJson(size_t row) const {
  rapidjson::StringBuffer text;
  rapidjson::Writer<rapidjson::StringBuffer> writer(text);
  writer.StartObject();
  for (size_t i = 0; i < m_columns.size(); ++i) {
    writer.Key(m_columns[i].c_str());
    WriteCell(writer, m_rows[row][i], i < m_json_columns.size() && m_json_columns[i]);
  }
  writer.EndObject();
  return text.GetString();
}

void Table::PrintRowAsJsonLine(size_t row, FILE* out) const {
  std::fprintf(out, "%s\n", RowJson(row).c_str());
  std::fflush(out);
}

void Table::Print(bool json, FILE* out) const {
  if (json) {
    std::fputs("[", out);
    for (size_t row = 0; row < m_rows.size(); ++row) {
      std::fprintf(out, "%s%s", row ? "," : "", RowJson(row).c_str());
    }
    std::fputs("]\n", out);
    return;
  }
  std::vector<size_t> widths(m_columns.size());
  for (size_t i = 0; i < m_columns.size(); ++i) {
    widths[i] = m_columns[i].size();
    for (const auto& row : m_rows) widths[i] = std::max(widths[i], row[i].size());
  }
  const auto print_line = [&](const std::vector<std::string>& cells) {
    std::string line;
    for (size_t i = 0; i < cells.size(); ++i) {
      line += cells[i];
      if (i + 1 < cells.size()) line += std::string(widths[i] - cells[i].size() + 2, ' ');
    }
    std::fprintf(out, "%s\n", line.c_str());
  };
  std::vector<std::string> header;
  for (const std::string& column : m_columns) {
    std::string upper = column;
    std::transform(upper.begin(), upper.end(), upper.begin(), ::toupper);
    header.push_back(upper);
  }
  print_line(header);
  for (const auto& row : m_rows) print_line(row);
}

void PrintObject(const std::vector<std::pair<std::string, std::string>>& members, bool json, FILE* out) {
  std::vector<std::string> columns;
  std::vector<std::string> cells;
  for (const auto& member : members) {
    columns.push_back(member.first);
    cells.push_back(member.second);
  }
  if (json) {
    Table table(columns);
    table.AddRow(cells);
    table.PrintRowAsJsonLine(0, out);
    return;
  }
  size_t width = 0;
  for (const auto& member : members) width = std::max(width, member.first.size());
  for (const auto& member : members) {
    std::fprintf(out, "%-*s  %s\n", static_cast<int>(width), member.first.c_str(), member.second.c_str());
  }
}

}  // namespace dmctl

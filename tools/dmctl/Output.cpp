#include "tools/dmctl/Output.h"

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>

namespace dmctl {
namespace {

using Writer = rapidjson::Writer<rapidjson::StringBuffer>;

void WriteString(Writer& writer, const std::string& text) {
  const std::string valid = ValidUtf8(text);
  writer.String(valid.c_str(), static_cast<rapidjson::SizeType>(valid.size()));
}

}  // namespace

std::string ValidUtf8(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  size_t position = 0;
  while (position < text.size()) {
    // One code point at a time: the library decides what is valid.
    rapidjson::StringStream in(text.c_str() + position);
    rapidjson::StringBuffer copy;
    if (text[position] != '\0' && rapidjson::UTF8<>::Validate(in, copy)) {
      out.append(copy.GetString(), copy.GetSize());
      position += in.Tell();
    } else {
      out += "\xEF\xBF\xBD";
      ++position;
    }
  }
  return out;
}

Cell Cell::Document(std::string json) {
  if (json.empty()) return Cell();
  rapidjson::Document probe;
  Cell cell(std::move(json));
  if (!cell.m_text.empty() && !probe.Parse(cell.m_text.c_str(), cell.m_text.size()).HasParseError()) {
    // Re-written, so that what goes out is compact and valid UTF-8.
    rapidjson::StringBuffer text;
    Writer writer(text);
    probe.Accept(writer);
    cell.m_kind = Kind::kDocument;
    cell.m_text = ValidUtf8(text.GetString());
  }
  return cell;
}

std::string Cell::Text() const {
  switch (m_kind) {
    case Kind::kNull:
      return "";
    case Kind::kNumber:
      return std::to_string(m_number);
    case Kind::kBool:
      return m_number ? "true" : "false";
    case Kind::kList: {
      std::string text;
      for (const std::string& word : m_list) text += (text.empty() ? "" : " ") + word;
      return text;
    }
    default:
      return m_text;
  }
}

std::string Cell::Json() const {
  rapidjson::StringBuffer text;
  Writer writer(text);
  switch (m_kind) {
    case Kind::kNull:
      writer.Null();
      break;
    case Kind::kNumber:
      writer.Int64(m_number);
      break;
    case Kind::kBool:
      writer.Bool(m_number != 0);
      break;
    case Kind::kDocument:
      return m_text;
    case Kind::kList:
      writer.StartArray();
      for (const std::string& word : m_list) WriteString(writer, word);
      writer.EndArray();
      break;
    case Kind::kText:
      WriteString(writer, m_text);
      break;
  }
  return text.GetString();
}

void Table::AddRow(std::vector<Cell> cells) {
  cells.resize(m_columns.size());
  m_rows.push_back(std::move(cells));
}

std::string Table::RowJson(size_t row) const {
  rapidjson::StringBuffer text;
  Writer writer(text);
  writer.StartObject();
  for (size_t i = 0; i < m_columns.size(); ++i) {
    writer.Key(m_columns[i].c_str());
    const std::string value = m_rows[row][i].Json();
    writer.RawValue(value.c_str(), value.size(), rapidjson::kObjectType);
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
  std::vector<std::vector<std::string>> lines;
  std::vector<std::string> header;
  for (const std::string& column : m_columns) {
    std::string upper = column;
    std::transform(upper.begin(), upper.end(), upper.begin(), ::toupper);
    header.push_back(upper);
  }
  lines.push_back(header);
  for (const auto& row : m_rows) {
    std::vector<std::string> cells;
    for (const Cell& cell : row) cells.push_back(cell.Text());
    lines.push_back(cells);
  }
  std::vector<size_t> widths(m_columns.size());
  for (const auto& line : lines) {
    for (size_t i = 0; i < line.size(); ++i) widths[i] = std::max(widths[i], line[i].size());
  }
  for (const auto& cells : lines) {
    std::string line;
    for (size_t i = 0; i < cells.size(); ++i) {
      line += cells[i];
      if (i + 1 < cells.size()) line += std::string(widths[i] - cells[i].size() + 2, ' ');
    }
    line.erase(line.find_last_not_of(' ') + 1);
    std::fprintf(out, "%s\n", line.c_str());
  }
}

void PrintObject(const Members& members, bool json, FILE* out) {
  if (json) {
    std::vector<std::string> columns;
    std::vector<Cell> cells;
    for (const auto& member : members) {
      columns.push_back(member.first);
      cells.push_back(member.second);
    }
    Table table(columns);
    table.AddRow(cells);
    table.PrintRowAsJsonLine(0, out);
    return;
  }
  size_t width = 0;
  for (const auto& member : members) width = std::max(width, member.first.size());
  for (const auto& member : members) {
    std::string line = member.first + std::string(width - member.first.size() + 2, ' ') + member.second.Text();
    line.erase(line.find_last_not_of(' ') + 1);
    std::fprintf(out, "%s\n", line.c_str());
  }
}

}  // namespace dmctl

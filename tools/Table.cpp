// The aligned table printer.
#include "Table.h"

#include <algorithm>

namespace zsff_tools {

std::size_t DisplayWidth(const std::string& text) {
  std::size_t width = 0;
  for (const char c : text) {
    if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) ++width;
  }
  return width;
}

void Table::AddColumn(const std::string& header, Align align) {
  m_Columns.push_back({header, align});
}

void Table::AddRow(std::vector<std::string> cells) {
  cells.resize(m_Columns.size());
  m_Rows.push_back(std::move(cells));
}

std::string Table::Render(const std::string& indent) const {
  std::vector<std::size_t> widths;
  for (const Column& column : m_Columns) widths.push_back(DisplayWidth(column.Header));
  for (const auto& row : m_Rows) {
    for (std::size_t c = 0; c < row.size(); ++c) {
      widths[c] = std::max(widths[c], DisplayWidth(row[c]));
    }
  }

  std::string text;
  auto appendLine = [&](const std::vector<std::string>& cells) {
    std::string line = indent;
    for (std::size_t c = 0; c < cells.size(); ++c) {
      const std::size_t pad = widths[c] - DisplayWidth(cells[c]);
      if (c > 0) line += "  ";
      if (m_Columns[c].Alignment == Right) line.append(pad, ' ');
      line += cells[c];
      if (m_Columns[c].Alignment == Left) line.append(pad, ' ');
    }
    while (line.size() > indent.size() && line.back() == ' ') line.pop_back();
    text += line;
    text += '\n';
  };

  std::vector<std::string> headers;
  for (const Column& column : m_Columns) headers.push_back(column.Header);
  appendLine(headers);
  for (const auto& row : m_Rows) appendLine(row);
  return text;
}

void Table::Print(std::FILE* out, const std::string& indent) const {
  const std::string text = Render(indent);
  std::fwrite(text.data(), 1, text.size(), out);
}

}  // namespace zsff_tools

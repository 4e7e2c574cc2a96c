// Aligned text tables for the tool's listings: a header row and data rows, each
// column padded to its widest cell, numbers right-aligned. Widths count UTF-8
// code points, so names with accents line up too.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace zsff_tools {

class Table {
 public:
  enum Align { Left, Right };

  // Adds a column; columns print in the order they were added.
  void AddColumn(const std::string& header, Align align = Left);
  // A row of cells, one per column; missing cells are empty, extra ones dropped.
  void AddRow(std::vector<std::string> cells);
  std::size_t RowCount() const { return m_Rows.size(); }

  // The table as text, each line starting with `indent` and ending in "\n".
  // Columns are two spaces apart, and no line has trailing blanks.
  std::string Render(const std::string& indent = std::string()) const;
  void Print(std::FILE* out, const std::string& indent = std::string()) const;

 private:
  struct Column {
    std::string Header;
    Align Alignment;
  };
  std::vector<Column> m_Columns;
  std::vector<std::vector<std::string>> m_Rows;
};

// Code points of a UTF-8 text (continuation bytes don't count).
std::size_t DisplayWidth(const std::string& text);

}  // namespace zsff_tools

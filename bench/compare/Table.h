#pragma once

/// Tables of results, as text in columns or as Markdown.

#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace Orvex::Bench {

enum class TableForm { text, markdown };

struct Table {
  std::string title;
  /// What the columns mean, and what is missing and why; a paragraph each.
  std::vector<std::string> notes;
  std::vector<std::string> headers;
  std::vector<std::vector<std::string>> rows;
};

void print( std::ostream& out, Table const& table, TableForm form );

/// With three digits that count, and whole numbers whole: "0.0123", "12.3", "1,234", "13".
std::string numberText( double number );
/// "-" for nothing.
std::string numberText( std::optional<double> number );

}  // namespace Orvex::Bench

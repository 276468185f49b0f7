#include "compare/Table.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace Orvex::Bench {

namespace {

constexpr double kManyDigits = 1e15;

std::string grouped( double number ) {
  std::string text = fmt::format( "{:.0f}", number );
  for ( std::size_t at = text.size(); at > 3; ) {
    at -= 3;
    text.insert( at, 1, ',' );
  }
  return text;
}

std::vector<std::size_t> widthsOf( Table const& table ) {
  std::vector<std::size_t> widths;
  for ( std::string const& header : table.headers ) widths.push_back( header.size() );
  for ( auto const& row : table.rows )
    for ( std::size_t at = 0; at != row.size(); ++at ) widths[at] = std::max( widths[at], row[at].size() );
  return widths;
}

void printText( std::ostream& out, Table const& table ) {
  auto const widths = widthsOf( table );
  auto const printRow = [&]( std::vector<std::string> const& row ) {
    std::string line;
    for ( std::size_t at = 0; at != row.size(); ++at )
      line += at == 0 ? fmt::format( "{:<{}}", row[at], widths[at] ) : fmt::format( "  {:>{}}", row[at], widths[at] );
    out << line << "\n";
  };
  printRow( table.headers );
  for ( auto const& row : table.rows ) printRow( row );
}

void printMarkdown( std::ostream& out, Table const& table ) {
  auto const printRow = [&]( std::vector<std::string> const& row ) {
    for ( std::string const& cell : row ) out << "| " << cell << " ";
    out << "|\n";
  };
  printRow( table.headers );
  for ( std::size_t at = 0; at != table.headers.size(); ++at ) out << ( at == 0 ? "|---" : "|---:" );
  out << "|\n";
  for ( auto const& row : table.rows ) printRow( row );
}

}  // namespace

void print( std::ostream& out, Table const& table, TableForm form ) {
  out << ( form == TableForm::markdown ? "### " : "" ) << table.title << "\n\n";
  for ( std::string const& note : table.notes ) out << note << "\n\n";
  if ( form == TableForm::markdown )
    printMarkdown( out, table );
  else
    printText( out, table );
  out << "\n";
}

std::string numberText( double number ) {
  if ( number >= kManyDigits ) return fmt::format( "{:.2e}", number );
  if ( number >= 100 || number == std::floor( number ) ) return grouped( std::round( number ) );
  int const before = std::max( 0, static_cast<int>( std::floor( std::log10( number ) ) ) + 1 );
  return number < 1 ? fmt::format( "{:.3g}", number ) : fmt::format( "{:.{}f}", number, 3 - before );
}

std::string numberText( std::optional<double> number ) { return number ? numberText( *number ) : "-"; }

}  // namespace Orvex::Bench

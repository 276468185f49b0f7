#include "policy/AclLine.h"

#include <algorithm>
#include <utility>

namespace Orvex::Host {

namespace {

constexpr std::string_view kBlanks = " \t\r\v\f";
constexpr std::string_view kWordEnds = " \t\r\v\f,";

bool startsComment( std::string_view text ) { return text.starts_with( '!' ) || text.starts_with( '#' ); }

}  // namespace

AclLine::AclLine( SourceFile const& file, std::size_t number )
    : file_( file ), number_( number ), rest_( file.line( number ) ) {
  findWord();
}

std::string_view AclLine::take() {
  std::string_view const taken = word_;
  findWord();
  return taken;
}

bool AclLine::accept( std::string_view keyword ) {
  if ( word_ != keyword ) return false;
  findWord();
  return true;
}

void AclLine::expectEnd() const {
  if ( !atEnd() ) failHere( "the end of the line" );
}

std::string AclLine::takeName( std::string_view what ) {
  if ( atEnd() || word_ == "," || word_ == "\"\"" ) failHere( what );
  return unquoted( take() );
}

std::vector<std::string_view> AclLine::takeNames( std::string_view what ) {
  std::vector<std::string_view> names;
  do {
    if ( atEnd() || word_ == "," ) failHere( what );
    names.push_back( take() );
  } while ( accept( "," ) );
  return names;
}

void AclLine::fail( std::string_view part, std::string problem, std::string remedy,
                    std::vector<RelatedPlace> related ) const {
  throw AclLineError(
      { Severity::error, placeOf( part ), std::move( problem ), std::move( remedy ), std::move( related ) } );
}

void AclLine::failHere( std::string_view expected, std::string remedy ) const {
  std::string const shown = word_.starts_with( '"' ) ? std::string( word_ ) : inQuotes( word_ );
  std::string const found = atEnd() ? "the line ends here" : shown + " is not expected here";
  fail( word_, found + ": expected " + std::string( expected ), std::move( remedy ) );
}

void AclLine::findWord() {
  rest_.remove_prefix( std::min( rest_.find_first_not_of( kBlanks ), rest_.size() ) );
  if ( startsComment( rest_ ) ) rest_ = rest_.substr( 0, 0 );
  std::size_t length = std::min( rest_.find_first_of( kWordEnds ), rest_.size() );
  if ( rest_.starts_with( ',' ) ) length = 1;
  if ( rest_.starts_with( '"' ) ) length = quotedLength();
  word_ = rest_.substr( 0, length );
  rest_.remove_prefix( length );
}

std::size_t AclLine::quotedLength() const {
  for ( std::size_t at = 1; at < rest_.size(); ++at ) {
    if ( rest_[at] == '\\' )
      ++at;
    else if ( rest_[at] == '"' )
      return at + 1;
  }
  fail( rest_.substr( 0, 1 ), "this quote has no end on its line", "close the name with another quote" );
}

std::string unquoted( std::string_view word ) {
  if ( !word.starts_with( '"' ) ) return std::string( word );
  std::string name;
  for ( std::size_t at = 1; at + 1 < word.size(); ++at ) {
    if ( word[at] == '\\' ) ++at;
    name += word[at];
  }
  return name;
}

}  // namespace Orvex::Host

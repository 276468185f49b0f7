#include "input/SourceFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <utility>

#include "input/Diagnostics.h"
#include "input/Utf8.h"

namespace Orvex::Host {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

struct Closer {
  void operator()( std::FILE* file ) const { (void)std::fclose( file ); }
};
using OpenFile = std::unique_ptr<std::FILE, Closer>;

std::string reasonOf( int error ) { return std::generic_category().message( error ); }

/// All bytes, or why there are none.
struct Content {
  std::string bytes;
  std::string failure;
};

Content readAll( std::FILE* file ) {
  Content content;
  constexpr std::size_t kChunk = std::size_t{ 1 } << 16;
  for ( std::size_t got = kChunk; got == kChunk; ) {
    std::size_t const have = content.bytes.size();
    if ( have > SourceFile::kMaxBytes ) {
      content.failure = "is larger than " + std::to_string( SourceFile::kMaxBytes >> 20 ) + " MiB";
      return content;
    }
    content.bytes.resize( have + kChunk );
    errno = 0;
    got = std::fread( content.bytes.data() + have, 1, kChunk, file );
    content.bytes.resize( have + got );
  }
  if ( std::ferror( file ) != 0 ) content.failure = "cannot be read: " + reasonOf( errno );
  return content;
}

Content readPath( std::string const& path, bool regularOnly ) {
  std::error_code error;
  if ( std::filesystem::is_directory( path, error ) ) return { "", "is a directory" };
  bool const isSpecial = std::filesystem::exists( path, error ) && !std::filesystem::is_regular_file( path, error );
  if ( regularOnly && isSpecial ) return { "", "is no regular file" };
  OpenFile const file( std::fopen( path.c_str(), "rb" ) );
  if ( !file ) return { "", "cannot be read: " + reasonOf( errno ) };
  return readAll( file.get() );
}

std::uint32_t narrowed( std::size_t number ) { return static_cast<std::uint32_t>( number ); }

std::string hexadecimal( char byte ) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  auto const value = static_cast<std::uint8_t>( byte );
  return { '0', 'x', kDigits[value >> 4], kDigits[value & 0xF] };
}

/// The first byte that no text has, or none.
std::size_t firstFault( std::string_view text ) {
  if ( asciiLength( text ) == text.size() ) return text.find( '\0' );
  for ( std::size_t at = 0; at != text.size(); ) {
    std::size_t const length = text[at] == '\0' ? 0 : utf8Length( text.substr( at ) );
    if ( length == 0 ) return at;
    at += length;
  }
  return std::string_view::npos;
}

}  // namespace

std::shared_ptr<SourceFile const> SourceFile::read( std::string const& path, Diagnostics& diagnostics,
                                                    Place const& namedAt ) {
  bool const standardInput = path == "-";
  Content content = standardInput ? readAll( stdin ) : readPath( path, namedAt.file != nullptr );
  std::string name = standardInput ? std::string( kStandardInput ) : path;
  if ( content.failure.empty() ) return fromText( std::move( name ), std::move( content.bytes ), diagnostics );
  if ( namedAt.file ) {
    diagnostics.error( namedAt, name + " " + content.failure );
  } else {
    std::shared_ptr<SourceFile const> const nameOnly( new SourceFile( std::move( name ), "" ) );
    diagnostics.error( nameOnly->whole(), content.failure );
  }
  return nullptr;
}

std::shared_ptr<SourceFile const> SourceFile::fromText( std::string name, std::string text, Diagnostics& diagnostics ) {
  std::shared_ptr<SourceFile> const file( new SourceFile( std::move( name ), std::move( text ) ) );
  file->checkText( diagnostics );
  return file;
}

SourceFile::SourceFile( std::string name, std::string text ) : name_( std::move( name ) ), text_( std::move( text ) ) {
  if ( text_.starts_with( kByteOrderMark ) ) text_.erase( 0, kByteOrderMark.size() );
  findLines();
}

void SourceFile::findLines() {
  for ( std::size_t start = 0; start < text_.size(); ) {
    lineStarts_.push_back( start );
    std::size_t const end = text_.find( '\n', start );
    start = end == std::string::npos ? text_.size() : end + 1;
  }
}

/// One error a line: a line of a binary file has hundreds.
void SourceFile::checkText( Diagnostics& diagnostics ) {
  for ( std::size_t number = 1; number <= lineCount(); ++number ) {
    std::string_view const checked = line( number );
    std::size_t const fault = firstFault( checked );
    if ( fault == std::string_view::npos ) continue;
    linesNotText_.push_back( number );
    Place const place = placeOf( number, checked.substr( fault, 1 ) );
    if ( checked[fault] == '\0' )
      diagnostics.error( place, "a NUL byte", "remove it: the file has to be text" );
    else
      diagnostics.error( place, "the byte " + hexadecimal( checked[fault] ) + " is not UTF-8",
                         "save the file as UTF-8" );
  }
}

std::string_view SourceFile::line( std::size_t number ) const {
  std::size_t const start = lineStarts_[number - 1];
  std::size_t const end = number == lineCount() ? text_.size() : lineStarts_[number];
  std::string_view found = text().substr( start, end - start );
  if ( found.ends_with( '\n' ) ) found.remove_suffix( 1 );
  if ( found.ends_with( '\r' ) ) found.remove_suffix( 1 );
  return found;
}

bool SourceFile::lineIsText( std::size_t number ) const {
  return linesNotText_.empty() || !std::binary_search( linesNotText_.begin(), linesNotText_.end(), number );
}

Place SourceFile::placeOf( std::string_view part ) const {
  auto const offset = static_cast<std::size_t>( part.data() - text_.data() );
  auto const after = std::upper_bound( lineStarts_.begin(), lineStarts_.end(), offset );
  if ( after == lineStarts_.begin() ) return { shared_from_this(), 1, 1, 0 };  // of a text without lines
  return placeOf( static_cast<std::size_t>( after - lineStarts_.begin() ), part );
}

Place SourceFile::placeOf( std::size_t lineNumber, std::string_view part ) const {
  auto const before = static_cast<std::size_t>( part.data() - text_.data() ) - lineStarts_[lineNumber - 1];
  auto const column = countCodePoints( text().substr( lineStarts_[lineNumber - 1], before ) ) + 1;
  return { shared_from_this(), narrowed( lineNumber ), narrowed( column ), narrowed( countCodePoints( part ) ) };
}

}  // namespace Orvex::Host

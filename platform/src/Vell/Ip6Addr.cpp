#include "Vell/Ip6Addr.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <ostream>

#include "Vell/Ip4Addr.h"

namespace Vell {

namespace {

constexpr std::size_t kGroups = 8;

using Groups = std::array<std::uint16_t, kGroups>;

/// Positions [begin, end).
struct ZeroRun {
  std::size_t begin = 0;
  std::size_t end = 0;
  std::size_t size() const { return end - begin; }
};

Groups groupsOf( Ip6Addr const& address ) {
  Groups groups;
  for ( std::size_t i = 0; i != kGroups; ++i ) {
    std::uint64_t const half = i < 4 ? address.high() : address.low();
    groups[i] = static_cast<std::uint16_t>( half >> ( 48 - 16 * ( i % 4 ) ) );
  }
  return groups;
}

Ip6Addr addressOf( Groups const& groups ) {
  std::uint64_t halves[2] = { 0, 0 };
  for ( std::size_t i = 0; i != kGroups; ++i ) halves[i / 4] = halves[i / 4] << 16 | groups[i];
  return { halves[0], halves[1] };
}

/// What "::" stands for in print: the longest run of at least two zero groups, the first of equals; empty when there is
/// none.
ZeroRun compressedRun( Groups const& groups ) {
  ZeroRun longest;
  for ( std::size_t begin = 0; begin != kGroups; ++begin ) {
    std::size_t end = begin;
    while ( end != kGroups && groups[end] == 0 ) ++end;
    if ( end - begin > longest.size() ) longest = { begin, end };
  }
  return longest.size() >= 2 ? longest : ZeroRun();
}

/// The groups of a text, read from left to right.
class GroupReader {
 public:
  explicit GroupReader( Kiv::TextReader& reader ) : reader_( reader ) {}

  Ip6Addr read() {
    bool groupMustFollow = !acceptGap();
    while ( groupMustFollow || ( atGroup() && count_ != limit() ) ) {
      if ( atDottedQuad() ) {
        readDottedQuad();
        break;
      }
      readGroup();
      if ( count_ == limit() ) break;
      groupMustFollow = !acceptGap();
      if ( groupMustFollow && !reader_.accept( ":" ) ) break;
    }
    return finished();
  }

 private:
  /// "::" takes the place of at least one group.
  std::size_t limit() const { return gap_ ? kGroups - 1 : kGroups; }

  bool acceptGap() {
    if ( !reader_.rest().starts_with( "::" ) ) return false;
    if ( gap_ ) reader_.fail( "\"::\" only once" );
    reader_.advance( 2 );
    gap_ = count_;
    return true;
  }

  std::size_t hexDigits() const {
    std::size_t const digits = reader_.rest().find_first_not_of( "0123456789abcdefABCDEF" );
    return digits == std::string_view::npos ? reader_.rest().size() : digits;
  }
  bool atGroup() const { return hexDigits() != 0; }
  bool atDottedQuad() const { return reader_.rest().substr( hexDigits() ).starts_with( '.' ); }

  void readGroup() {
    std::size_t const digits = hexDigits();
    if ( digits == 0 || digits > 4 ) reader_.fail( "one to four hexadecimal digits" );
    char const* const begin = reader_.rest().data();
    std::from_chars( begin, begin + digits, groups_[count_++], 16 );
    reader_.advance( digits );
  }

  void readDottedQuad() {
    bool const inPlace = gap_ ? count_ + 2 <= limit() : count_ + 2 == limit();
    if ( !inPlace ) reader_.fail( "a dotted quad only in place of the last two groups" );
    std::uint32_t const quad = readIp4Addr( reader_ );
    groups_[count_++] = static_cast<std::uint16_t>( quad >> 16 );
    groups_[count_++] = static_cast<std::uint16_t>( quad );
  }

  Ip6Addr finished() {
    if ( !gap_ && count_ != kGroups ) reader_.fail( "\":\" and the rest of eight groups" );
    if ( gap_ ) std::rotate( groups_.begin() + *gap_, groups_.begin() + count_, groups_.end() );
    return addressOf( groups_ );
  }

  Kiv::TextReader& reader_;
  Groups groups_{};
  std::size_t count_ = 0;
  /// Number of groups before "::".
  std::optional<std::size_t> gap_;
};

}  // namespace

char* Ip6Addr::toChars( char* out ) const noexcept {
  Groups const groups = groupsOf( *this );
  ZeroRun const run = compressedRun( groups );
  bool const mapped = high_ == 0 && low_ >> 32 == 0xFFFF;
  for ( std::size_t i = 0; i != kGroups; ++i ) {
    if ( i == run.begin && run.size() != 0 ) {
      *out++ = ':';
      *out++ = ':';
      i = run.end - 1;
      continue;
    }
    if ( i != 0 && i != run.end ) *out++ = ':';
    if ( mapped && i == kGroups - 2 ) return ip4AddrToChars( out, static_cast<std::uint32_t>( low_ ) );
    out = std::to_chars( out, out + 4, groups[i], 16 ).ptr;
  }
  return out;
}

Ip6Addr Ip6Addr::read( Kiv::TextReader& reader ) { return GroupReader( reader ).read(); }

std::ostream& operator<<( std::ostream& out, Ip6Addr const& address ) {
  char text[Ip6Addr::kTextSize];
  return out << std::string_view( text, static_cast<std::size_t>( address.toChars( text ) - text ) );
}

}  // namespace Vell

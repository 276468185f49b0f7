#include "input/NearestWord.h"

#include <algorithm>
#include <array>
#include <utility>

namespace Orvex::Host {

namespace {

/// No word of any format is longer; a longer one is not a misspelling.
constexpr std::size_t kMaxLetters = 64;

std::string lowered( std::string_view word ) {
  std::string result( word );
  for ( char& each : result )
    if ( each >= 'A' && each <= 'Z' ) each = static_cast<char>( each - 'A' + 'a' );
  return result;
}

/// The table's rows are those of the last two letters of `a` and of the one at hand.
std::size_t distance( std::string_view a, std::string_view b ) {
  using Row = std::array<std::size_t, kMaxLetters + 1>;
  Row beforeLast{};
  Row last{};
  Row current{};
  for ( std::size_t j = 0; j <= b.size(); ++j ) last[j] = j;
  for ( std::size_t i = 1; i <= a.size(); ++i ) {
    current[0] = i;
    for ( std::size_t j = 1; j <= b.size(); ++j ) {
      std::size_t const replaced = last[j - 1] + ( a[i - 1] == b[j - 1] ? 0 : 1 );
      current[j] = std::min( { last[j] + 1, current[j - 1] + 1, replaced } );
      if ( i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1] )
        current[j] = std::min( current[j], beforeLast[j - 2] + 1 );
    }
    beforeLast = last;
    last = current;
  }
  return last[b.size()];
}

}  // namespace

NearestWord::NearestWord( std::string_view misspelt )
    : misspelt_( misspelt.size() <= kMaxLetters ? lowered( misspelt ) : "" ),
      nearestYet_( ( misspelt_.size() + 1 ) / 3 + 1 ) {}

void NearestWord::consider( std::string_view right ) {
  if ( misspelt_.empty() || right.size() > kMaxLetters ) return;
  auto const [shorter, longer] = std::minmax( { misspelt_.size(), right.size() } );
  if ( longer - shorter > nearestYet_ ) return;
  std::string const candidate = lowered( right );
  std::size_t const far = distance( misspelt_, candidate );
  bool const sameStart = candidate.starts_with( misspelt_[0] );
  bool const breaksTie = far == nearestYet_ && sameStart && !foundSameStart_ && !found_.empty();
  if ( far >= nearestYet_ && !breaksTie ) return;
  nearestYet_ = far;
  foundSameStart_ = sameStart;
  found_ = right;
}

std::string NearestWord::question() const { return found_.empty() ? "" : "did you mean \"" + found_ + "\"?"; }

}  // namespace Orvex::Host

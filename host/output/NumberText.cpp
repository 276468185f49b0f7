#include "output/NumberText.h"

namespace Orvex::Host {

std::string grouped( std::uint64_t number ) {
  std::string text = std::to_string( number );
  for ( std::size_t at = text.size(); at > 3; ) text.insert( at -= 3, 1, ',' );
  return text;
}

std::string counted( std::uint64_t number, std::string_view noun ) {
  std::string text = grouped( number ) + " ";
  text += noun;
  if ( number != 1 ) text += noun.ends_with( "x" ) ? "es" : "s";
  return text;
}

}  // namespace Orvex::Host

/// Chip profiles.

#include "chip/ChipProfile.h"

#include "FuzzTarget.h"
#include "Reading.h"
#include "chip/ProfileJson.h"

namespace Orvex::Fuzz {

void oneInput( std::string_view input ) {
  Reading reading( input );
  auto const profile = readChipProfile( *reading.file(), reading.diagnostics() );
  reading.check( profile.has_value() );
  if ( !profile ) return;
  require( problemsOf( *profile ).empty(), "a profile is taken that is not good" );
  (void)capabilityOf( *profile, Brae::ChipId( 1 ) );  // raises what the library does not take
  std::string const text = profileJson( *profile );
  Reading again( text );
  auto const back = readChipProfile( *again.file(), again.diagnostics() );
  again.check( back.has_value() );
  if ( back != profile ) found( "the profile's own text is another profile:\n" + text );
  if ( profileJson( *back ) != text ) found( "the text is another when it is written again:\n" + text );
}

}  // namespace Orvex::Fuzz

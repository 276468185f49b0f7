/// ACLs of RFC 8519.

#include "FuzzTarget.h"
#include "InstanceFormat.h"
#include "formats/Rfc8519Reader.h"
#include "formats/Rfc8519Writer.h"

void Orvex::Fuzz::oneInput( std::string_view input ) {
  checkInstance( input, { Host::readRfc8519, Host::rfc8519Text } );
}

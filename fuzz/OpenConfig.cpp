/// ACLs of OpenConfig.

#include "FuzzTarget.h"
#include "InstanceFormat.h"
#include "formats/OpenConfigReader.h"
#include "formats/OpenConfigWriter.h"

void Orvex::Fuzz::oneInput( std::string_view input ) {
  checkInstance( input, { Host::readOpenConfig, Host::openConfigText } );
}

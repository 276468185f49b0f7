#pragma once

/// Policies in JSON instance data, read from texts.

#include <array>
#include <optional>
#include <string>

#include "formats/OpenConfigReader.h"
#include "formats/Rfc8519Reader.h"
#include "input/Diagnostics.h"
#include "policy/PolicyPlaces.h"

namespace Orvex::Host::Test {

struct InstanceReading {
  std::optional<LocatedPolicy> located;
  Diagnostics diagnostics;
};

/// In the format that the text is in.
inline InstanceReading readInstance( std::string text, Unsupported unsupported = Unsupported::isError,
                                     std::string name = "edge.json" ) {
  InstanceReading reading;
  auto const file = SourceFile::fromText( std::move( name ), std::move( text ), reading.diagnostics );
  auto document = readInstanceDocument( file, reading.diagnostics );
  auto const format = document ? instanceFormatOf( *document, reading.diagnostics ) : std::nullopt;
  if ( !format ) return reading;
  std::array const documents = { std::move( *document ) };
  reading.located = *format == InstanceFormat::rfc8519 ? readRfc8519( documents, unsupported, reading.diagnostics )
                                                       : readOpenConfig( documents, unsupported, reading.diagnostics );
  return reading;
}

}  // namespace Orvex::Host::Test

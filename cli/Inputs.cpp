#include "Inputs.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include "StandardStreams.h"
#include "chip/BuiltInProfiles.h"
#include "chip/ProfileJson.h"
#include "formats/InstanceDocument.h"
#include "formats/OpenConfigReader.h"
#include "formats/Rfc8519Reader.h"
#include "input/NearestWord.h"
#include "policy/AclTextReader.h"

namespace Orvex::Cli {

namespace {

bool isColoured( ConsoleOptions const& options ) {
  if ( options.colour != "auto" ) return options.colour == "always";
  return standardErrorIsTerminal() && std::getenv( "NO_COLOR" ) == nullptr;
}

void showMessage( char const* kind, char const* colour, std::string const& text, ConsoleOptions const& options ) {
  if ( isColoured( options ) )
    tell( fmt::format( "orvex: \033[{}m{}:\033[0m {}\n", colour, kind, text ) );
  else
    tell( fmt::format( "orvex: {}: {}\n", kind, text ) );
}

using Files = std::vector<std::shared_ptr<Host::SourceFile const>>;

/// Policies in JSON, of the format that the options name or else of the first file's.
std::optional<Host::LocatedPolicy> readInstanceData( Files const& files, PolicyOptions const& options,
                                                     Host::Diagnostics& diagnostics ) {
  std::vector<Host::InstanceDocument> documents;
  for ( auto const& file : files )
    if ( auto document = readInstanceDocument( file, diagnostics ) ) documents.push_back( std::move( *document ) );
  if ( documents.size() != files.size() ) return std::nullopt;
  auto const format = options.format == PolicyFormat::rfc8519      ? Host::InstanceFormat::rfc8519
                      : options.format == PolicyFormat::openConfig ? Host::InstanceFormat::openConfig
                                                                   : instanceFormatOf( documents.front(), diagnostics );
  if ( !format ) return std::nullopt;
  return *format == Host::InstanceFormat::rfc8519 ? readRfc8519( documents, options.unsupported, diagnostics )
                                                  : readOpenConfig( documents, options.unsupported, diagnostics );
}

PolicyFormat formatOf( Host::SourceFile const& file ) {
  if ( looksLikeClassbench( file ) ) return PolicyFormat::classbench;
  return looksLikeJson( file ) ? PolicyFormat::automatic : PolicyFormat::acl;
}

}  // namespace

std::optional<Host::LocatedPolicy> readPolicy( PolicyOptions const& options, Host::Diagnostics& diagnostics ) {
  Files files;
  for ( std::string const& path : options.files )
    if ( auto const file = Host::SourceFile::read( path, diagnostics ) ) files.push_back( file );
  if ( files.size() != options.files.size() ) return std::nullopt;
  switch ( options.format == PolicyFormat::automatic ? formatOf( *files.front() ) : options.format ) {
    case PolicyFormat::acl:
      return Host::readAclText( files, diagnostics );
    case PolicyFormat::classbench:
      return Host::readClassbench( files, options.classbench, diagnostics );
    case PolicyFormat::automatic:
    case PolicyFormat::rfc8519:
    case PolicyFormat::openConfig:
      break;
  }
  return readInstanceData( files, options, diagnostics );
}

std::optional<Host::ChipProfile> readChip( std::string const& nameOrFile, Host::Diagnostics& diagnostics ) {
  if ( auto const* const profile = Host::builtInProfile( nameOrFile ) ) return *profile;
  bool const looksLikeFile = nameOrFile.find_first_of( "./" ) != std::string::npos || nameOrFile == "-";
  if ( looksLikeFile || std::filesystem::exists( nameOrFile ) ) {
    auto const file = Host::SourceFile::read( nameOrFile, diagnostics );
    return file ? Host::readChipProfile( *file, diagnostics ) : std::nullopt;
  }
  Host::NearestWord nearest( nameOrFile );
  for ( Host::ChipProfile const& profile : Host::builtInProfiles() ) nearest.consider( profile.name );
  std::string const question = nearest.question();
  diagnostics.error(
      {}, "there is no chip " + Host::inQuotes( nameOrFile ),
      question.empty() ? "\"orvex chips\" lists them; a file of yours has a point or a slash in its name" : question );
  return std::nullopt;
}

void show( Host::Diagnostics const& diagnostics, ConsoleOptions const& options ) {
  if ( options.quiet && !diagnostics.failed() ) return;
  tell( diagnostics.text( isColoured( options ) ? Host::Colour::on : Host::Colour::off ) );
}

void showError( std::string const& text, ConsoleOptions const& options ) {
  showMessage( "error", "1;31", text, options );
}

void showWarning( std::string const& text, ConsoleOptions const& options ) {
  showMessage( "warning", "1;35", text, options );
}

bool standardErrorIsTerminal() { return isatty( STDERR_FILENO ) == 1; }

std::uint64_t rulesIn( Host::Policy const& policy ) {
  std::uint64_t rules = 0;
  for ( Host::Acl const& acl : policy.acls ) rules += acl.rules.size();
  return rules;
}

}  // namespace Orvex::Cli

#include "formats/InstanceDocument.h"

#include <array>
#include <string>
#include <utility>

#include "input/NearestWord.h"

namespace Orvex::Host {

namespace {

std::string_view withoutModule( std::string_view name ) { return name.substr( name.find( ':' ) + 1 ); }
std::string_view moduleOf( std::string_view name ) { return name.substr( 0, name.find( ':' ) ); }

/// The one of the names that the member has, without its module or with another name of the module; empty for members of
/// other modules.
std::string_view meantBy( std::string_view member, std::span<std::string_view const> names ) {
  bool const isQualified = member.find( ':' ) != std::string_view::npos;
  for ( std::string_view const name : names )
    if ( member == name ) return name;
  for ( std::string_view const name : names )
    if ( isQualified ? moduleOf( member ) == moduleOf( name ) : member == withoutModule( name ) ) return name;
  return {};
}

/// For the first member that is near to one of the names: `did you mean "openconfig-acl:acl"?`. Else empty.
std::string questionFor( JsonNode const& document, std::span<std::string_view const> names ) {
  auto const* const members = document.as<JsonNode::Members>();
  if ( members == nullptr ) return "";
  for ( JsonMember const& member : *members ) {
    NearestWord nearest( member.name );
    for ( std::string_view const name : names ) nearest.consider( name );
    if ( !nearest.found().empty() ) return "for " + inQuotes( member.name ) + ", " + nearest.question();
  }
  return "";
}

}  // namespace

bool looksLikeJson( SourceFile const& file ) {
  std::size_t const begin = file.text().find_first_not_of( " \t\r\n" );
  return begin != std::string_view::npos && ( file.text()[begin] == '{' || file.text()[begin] == '[' );
}

std::optional<InstanceDocument> readInstanceDocument( std::shared_ptr<SourceFile const> const& file,
                                                      Diagnostics& diagnostics ) {
  auto root = readJson( *file, diagnostics );
  return root ? std::optional( InstanceDocument{ file, std::move( *root ) } ) : std::nullopt;
}

std::optional<InstanceFormat> instanceFormatOf( InstanceDocument const& document, Diagnostics& diagnostics ) {
  static constexpr std::array kRfc8519 = { kRfc8519Acls };
  static constexpr std::array kOpenConfig = { kOpenConfigAcl, kOpenConfigSets };
  if ( auto const* const members = document.root.as<JsonNode::Members>() ) {
    for ( JsonMember const& member : *members ) {
      if ( !meantBy( member.name, kRfc8519 ).empty() ) return InstanceFormat::rfc8519;
      if ( !meantBy( member.name, kOpenConfig ).empty() ) return InstanceFormat::openConfig;
    }
  }
  static constexpr std::array kAll = { kRfc8519Acls, kOpenConfigAcl, kOpenConfigSets };
  std::string const question = questionFor( document.root, kAll );
  diagnostics.error( document.file->placeOf( document.root.source().substr( 0, 1 ) ), "this JSON text has no ACLs",
                     question.empty()
                         ? "expected an object with " + inQuotes( kRfc8519Acls ) + " or " + inQuotes( kOpenConfigAcl )
                         : question );
  return std::nullopt;
}

bool hasTopMember( InstanceNode const& document, std::span<std::string_view const> names ) {
  auto const* const members = document.json().as<JsonNode::Members>();
  bool found = false;
  bool misnamed = false;
  if ( members != nullptr ) {
    for ( JsonMember const& member : *members ) {
      std::string_view const name = meantBy( member.name, names );
      found = found || member.name == name;
      if ( name.empty() || member.name == name ) continue;
      misnamed = true;
      document.report().diagnostics().error( document.report().placeOf( member.nameSource ),
                                             "/" + member.name + ": there is no such member at the top",
                                             "write " + inQuotes( name ) );
    }
  }
  if ( !found && !misnamed ) {
    std::string const question = questionFor( document.json(), names );
    document.report().diagnostics().error( document.place(), "there is no " + inQuotes( names.front() ) + " here",
                                           question.empty() ? "add it at the top" : question );
  }
  return found;
}

std::optional<LocatedPolicy> finishedPolicy( LocatedPolicy located, std::span<InstanceDocument const> documents,
                                             Diagnostics& diagnostics ) {
  if ( located.policy.acls.empty() && !documents.empty() && !diagnostics.failed() )
    diagnostics.warning( documents.front().file->whole(), "there is no ACL" );
  return normalised( std::move( located ), diagnostics );
}

}  // namespace Orvex::Host

#include "chip/ProfileJson.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <span>
#include <vector>

#include "input/NearestWord.h"
#include "json/JsonTree.h"

namespace Orvex::Host {

namespace {

constexpr std::string_view kSchema = "orvex.chip/1";
constexpr std::string_view kUnlimitedText = "unlimited";

/// "a", "b" or "c"
std::string choiceText( std::span<std::string_view const> words ) {
  std::string text;
  for ( std::size_t i = 0; i != words.size(); ++i )
    text += ( i == 0 ? "" : i + 1 == words.size() ? " or " : ", " ) + inQuotes( words[i] );
  return text;
}

class ProfileReader {
 public:
  ProfileReader( SourceFile const& file, Diagnostics& diagnostics ) : file_( file ), diagnostics_( diagnostics ) {}

  std::optional<ChipProfile> read() {
    auto const root = readJson( file_, diagnostics_ );
    if ( !root ) return std::nullopt;
    readProfile( *root );
    for ( ProfileProblem const& problem : problemsOf( profile_ ) ) report( problem );
    return faulty_.empty() ? std::optional( std::move( profile_ ) ) : std::nullopt;
  }

 private:
  void readProfile( JsonNode const& root ) {
    static constexpr std::array<std::string_view, 9> kNames = { "schema",     "name",         "description",
                                                                "prefixes",   "ranges",       "combos",
                                                                "capacities", "hitfulPolicy", "labelPlacement" };
    if ( !checkObject( root, "", kNames ) ) return;
    std::string schema;
    readString( root, "schema", schema, true );
    if ( !faulty_.contains( "schema" ) && schema != kSchema )
      error( "schema", root.member( "schema" )->source(), "this is not a chip profile of version 1",
             "write " + inQuotes( kSchema ) );
    readString( root, "name", profile_.name, true );
    readString( root, "description", profile_.description, false );
    readPrefixes( root );
    std::vector<ChipProfile::Encoding*> ranges;
    ranges.reserve( kFields.size() );
    for ( Field const field : kFields ) ranges.push_back( &profile_.ranges[field] );
    readTables( root, "ranges", kFieldNames, std::span( kRangeSetTypeNames ).first( kFieldCount ), ranges );
    std::vector<ChipProfile::Encoding*> combos;
    combos.reserve( kCombos.size() );
    for ( ComboLabelSetType const type : kCombos ) combos.push_back( &profile_.combo( type ) );
    readTables( root, "combos", std::span( kComboLabelSetTypeNames ).first( kCombos.size() ), {}, combos );
    readCapacities( root );
    readChoice( root, "hitfulPolicy", profile_.hitfulPolicy );
    readChoice( root, "labelPlacement", profile_.labelPlacement );
  }

  void readPrefixes( JsonNode const& root ) {
    JsonNode const* const prefixes = memberOf( root, "", "prefixes", true );
    if ( !prefixes || !checkObject( *prefixes, "prefixes", Vell::kAddressFamilyNames ) ) return;
    static constexpr std::array<std::string_view, 2> kSides = { "source", "destination" };
    for ( std::size_t family = 0; family != Vell::kAddressFamilyNames.size(); ++family ) {
      std::string_view const name = Vell::kAddressFamilyNames[family];
      JsonNode const* const sides = memberOf( *prefixes, "prefixes", name, true );
      std::string const path = pathOf( "prefixes", name );
      if ( !sides || !checkObject( *sides, path, kSides ) ) continue;
      for ( std::size_t side = 0; side != kSides.size(); ++side )
        if ( JsonNode const* const table = memberOf( *sides, path, kSides[side], true ) )
          readEncoding( *table, pathOf( path, kSides[side] ), profile_.prefixes[family][side] );
    }
  }

  /// Tables that need not be named.
  void readTables( JsonNode const& root, std::string const& path, std::span<std::string_view const> names,
                   std::span<std::string_view const> namesInSnapshots,
                   std::vector<ChipProfile::Encoding*> const& encodings ) {
    JsonNode const* const tables = memberOf( root, "", path, false );
    if ( !tables || !checkObject( *tables, path, names, namesInSnapshots ) ) return;
    for ( std::size_t at = 0; at != names.size(); ++at )
      if ( JsonNode const* const table = memberOf( *tables, path, names[at], false ) )
        readEncoding( *table, pathOf( path, names[at] ), *encodings[at] );
  }

  void readEncoding( JsonNode const& table, std::string const& path, ChipProfile::Encoding& encoding ) {
    static constexpr std::array<std::string_view, 2> kNames = { "width", "invalid" };
    if ( !checkObject( table, path, kNames ) ) return;
    if ( JsonNode const* const width = memberOf( table, path, "width", true ) )
      readNumber( *width, pathOf( path, "width" ), encoding.widthBits, "write 0 to 16" );
    if ( JsonNode const* const invalid = memberOf( table, path, "invalid", false ) )
      readNumber( *invalid, pathOf( path, "invalid" ), encoding.invalid, "write a label, 0 or more" );
  }

  void readCapacities( JsonNode const& root ) {
    JsonNode const* const capacities = memberOf( root, "", "capacities", true );
    if ( !capacities || !checkObject( *capacities, "capacities", kResourceNames ) ) return;
    for ( Resource const resource : kResources ) {
      std::string_view const name = Kiv::stringValue( resource );
      JsonNode const* const capacity = memberOf( *capacities, "capacities", name, false );
      if ( !capacity ) continue;
      auto const* const word = capacity->as<std::string>();
      if ( word && *word == kUnlimitedText )
        profile_.capacities[resource] = kUnlimited;
      else
        readNumber( *capacity, pathOf( "capacities", name ), profile_.capacities[resource],
                    "write a number, or " + inQuotes( kUnlimitedText ) );
    }
  }

  template <class Choice>
  void readChoice( JsonNode const& root, std::string const& name, Choice& choice ) {
    if ( !memberOf( root, "", name, false ) ) return;
    std::string word;
    readString( root, name, word, false );
    if ( faulty_.contains( name ) ) return;
    auto const words = enumNames( choice );
    auto const found = std::find( words.begin(), words.end(), word );
    if ( found != words.end() )
      choice = static_cast<Choice>( found - words.begin() );
    else
      error( name, root.member( name )->source(), "there is no " + inQuotes( word ) + " here",
             "write " + choiceText( words ) );
  }

  // Values

  static std::string pathOf( std::string const& parent, std::string_view name ) {
    return parent.empty() ? std::string( name ) : parent + "." + std::string( name );
  }

  void error( std::string const& path, std::string_view part, std::string problem, std::string remedy ) {
    faulty_.insert( path );
    diagnostics_.error( file_.placeOf( part ), std::move( problem ), std::move( remedy ) );
  }

  /// Whether it is an object. What it has besides `names` is reported; snapshots call some of these otherwise.
  bool checkObject( JsonNode const& node, std::string const& path, std::span<std::string_view const> names,
                    std::span<std::string_view const> namesInSnapshots = {} ) {
    places_[path] = node.source();
    auto const* const members = node.as<JsonNode::Members>();
    if ( !members ) {
      error( path, node.source(), ( path.empty() ? "the profile" : path ) + " is " + std::string( node.kindText() ),
             "write an object" );
      return false;
    }
    for ( JsonMember const& member : *members ) {
      if ( std::find( names.begin(), names.end(), member.name ) != names.end() ) continue;
      auto const inSnapshots = std::find( namesInSnapshots.begin(), namesInSnapshots.end(), member.name );
      NearestWord nearest( inSnapshots == namesInSnapshots.end()
                               ? std::string_view( member.name )
                               : names[static_cast<std::size_t>( inSnapshots - namesInSnapshots.begin() )] );
      for ( std::string_view const name : names ) nearest.consider( name );
      error( pathOf( path, member.name ), member.nameSource, "there is no " + inQuotes( member.name ) + " here",
             nearest.found().empty() ? "write " + choiceText( names ) : nearest.question() );
    }
    return true;
  }

  /// Null when there is none, which is an error if it is required.
  JsonNode const* memberOf( JsonNode const& parent, std::string const& path, std::string_view name, bool required ) {
    JsonNode const* const member = parent.member( name );
    if ( member )
      places_[pathOf( path, name )] = member->source();
    else if ( required )
      error( pathOf( path, name ), parent.source().substr( 0, 1 ), inQuotes( name ) + " is missing", "add it here" );
    return member;
  }

  void readString( JsonNode const& parent, std::string const& name, std::string& value, bool required ) {
    JsonNode const* const member = memberOf( parent, "", name, required );
    if ( !member ) return;
    if ( auto const* const text = member->as<std::string>() )
      value = *text;
    else
      error( name, member->source(), name + " is " + std::string( member->kindText() ), "write a string" );
  }

  void readNumber( JsonNode const& node, std::string const& path, std::uint64_t& value, std::string remedy ) {
    if ( auto const* const number = node.as<std::uint64_t>() )
      value = *number;
    else
      error( path, node.source(), path + " is " + std::string( node.kindText() ), std::move( remedy ) );
  }

  /// At the member that it is about, or at the innermost object around that; not for what has been reported already.
  void report( ProfileProblem const& problem ) {
    std::string path = problem.field;
    while ( !path.empty() ) {
      if ( faulty_.contains( path ) ) return;
      std::size_t const dot = path.rfind( '.' );
      path.resize( dot == std::string::npos ? 0 : dot );
    }
    path = problem.field;
    while ( !places_.contains( path ) ) path.resize( path.find( '.' ) == std::string::npos ? 0 : path.rfind( '.' ) );
    if ( faulty_.contains( path ) ) return;
    std::string_view const part = places_[path];
    bool const isObject = part.starts_with( '{' );
    error( problem.field, isObject ? part.substr( 0, 1 ) : part, problem.field + " " + problem.problem,
           problem.remedy );
  }

  SourceFile const& file_;
  Diagnostics& diagnostics_;
  ChipProfile profile_;
  std::map<std::string, std::string_view> places_;  // of what was read, by its path
  std::set<std::string> faulty_;                    // paths with errors
};

std::string quotedJson( std::string const& text ) { return nlohmann::json( text ).dump(); }

std::string encodingJson( ChipProfile::Encoding const& encoding ) {
  return fmt::format( R"({{"width": {}, "invalid": {}}})", encoding.widthBits, encoding.invalid );
}

/// Lines of members, each of which `valueAt` gives.
template <class ValueAt>
std::string membersJson( std::span<std::string_view const> names, ValueAt const& valueAt ) {
  std::string text;
  for ( std::size_t at = 0; at != names.size(); ++at )
    text += fmt::format( "{}    \"{}\": {}", at == 0 ? "\n" : ",\n", names[at], valueAt( at ) );
  return text;
}

}  // namespace

std::optional<ChipProfile> readChipProfile( SourceFile const& file, Diagnostics& diagnostics ) {
  return ProfileReader( file, diagnostics ).read();
}

std::string profileJson( ChipProfile const& profile ) {
  auto const prefixes = membersJson( Vell::kAddressFamilyNames, [&]( std::size_t family ) {
    return fmt::format( R"({{"source": {}, "destination": {}}})", encodingJson( profile.prefixes[family][0] ),
                        encodingJson( profile.prefixes[family][1] ) );
  } );
  auto const ranges = membersJson(
      kFieldNames, [&]( std::size_t at ) { return encodingJson( profile.ranges[static_cast<Field>( at )] ); } );
  auto const combos = membersJson( std::span( kComboLabelSetTypeNames ).first( kCombos.size() ),
                                   [&]( std::size_t at ) { return encodingJson( profile.combos[at] ); } );
  auto const capacities = membersJson( kResourceNames, [&]( std::size_t at ) {
    std::uint64_t const capacity = profile.capacities[kResources[at]];
    return capacity == kUnlimited ? quotedJson( std::string( kUnlimitedText ) ) : std::to_string( capacity );
  } );
  return fmt::format(
      "{{\n  \"schema\": \"{}\",\n  \"name\": {},\n  \"description\": {},\n  \"prefixes\": {{{}\n  }},\n"
      "  \"ranges\": {{{}\n  }},\n  \"combos\": {{{}\n  }},\n  \"capacities\": {{{}\n  }},\n"
      "  \"hitfulPolicy\": \"{}\",\n  \"labelPlacement\": \"{}\"\n}}\n",
      kSchema, quotedJson( profile.name ), quotedJson( profile.description ), prefixes, ranges, combos, capacities,
      Kiv::stringValue( profile.hitfulPolicy ), Kiv::stringValue( profile.labelPlacement ) );
}

}  // namespace Orvex::Host

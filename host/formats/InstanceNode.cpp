#include "formats/InstanceNode.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "input/NearestWord.h"
#include "input/Utf8.h"

namespace Orvex::Host {

namespace {

/// As RFC 7951 writes values in instance identifiers; a long one is cut.
std::string keyText( JsonNode const& value ) {
  static constexpr std::size_t kMaxCharacters = 64;
  auto const* const text = value.as<std::string>();
  if ( text == nullptr ) return std::string( value.source() );
  std::string_view const shown = firstCodePoints( *text, kMaxCharacters );
  char const quote = text->find( '\'' ) == std::string::npos ? '\'' : '"';
  return quote + std::string( shown ) + ( shown.size() == text->size() ? "" : "..." ) + quote;
}

bool isScalar( JsonNode const& value ) {
  return value.as<std::string>() != nullptr || value.as<std::uint64_t>() != nullptr;
}

/// "a", "b" or "c", of those that are read.
std::string choiceText( InstanceNode::Members members ) {
  std::vector<std::string_view> names;
  for ( InstanceMember const& each : members )
    if ( each.take == Take::read ) names.push_back( each.name );
  std::string text;
  for ( std::size_t at = 0; at != names.size(); ++at )
    text += ( at == 0 ? "" : at + 1 == names.size() ? " or " : ", " ) + inQuotes( names[at] );
  return text;
}

}  // namespace

// InstanceReport

void InstanceReport::unsupported( std::string_view part, std::string problem ) {
  if ( unsupported_ == Unsupported::isError )
    diagnostics_.error( placeOf( part ), std::move( problem ), "--skip-unsupported leaves out such ACLs whole" );
  else if ( insideAcl_ )
    gathered_.push_back( { placeOf( part ), std::move( problem ) } );
  else
    diagnostics_.warning( placeOf( part ), std::move( problem ), "it is left out" );
}

bool InstanceReport::aclEnds( InstanceNode const& acl ) {
  insideAcl_ = false;
  if ( gathered_.empty() ) return true;
  std::size_t const count = gathered_.size();
  if ( count > kShown ) gathered_.resize( kShown );
  diagnostics_.warning( acl.place(),
                        acl.path() + ": this ACL is left out, because of " + std::to_string( count ) +
                            ( count == 1 ? " match or action" : " matches and actions" ) +
                            " that a table cannot express",
                        "", std::exchange( gathered_, {} ) );
  return false;
}

// InstanceNode

InstanceNode::InstanceNode( InstanceNode const& parent, std::string_view name, JsonNode const& json )
    : json_( &json ),
      report_( parent.report_ ),
      parent_( &parent ),
      name_( name ),
      module_( parent.parent_ == nullptr ? name.substr( 0, name.find( ':' ) ) : parent.module_ ) {}

InstanceNode::InstanceNode( InstanceNode const& list, std::size_t position, Keys keys, JsonNode const& json )
    : json_( &json ),
      report_( list.report_ ),
      parent_( &list ),
      position_( position ),
      keys_( keys ),
      module_( list.module_ ) {}

std::string InstanceNode::path() const {
  if ( parent_ == nullptr ) return "";
  std::string text = parent_->path();
  if ( position_ != 0 ) return text += predicate();
  return ( text += '/' ) += name_;
}

bool InstanceNode::hasKeys() const {
  return !keys_.empty() && std::all_of( keys_.begin(), keys_.end(), [this]( std::string_view key ) {
    auto const value = member( key );
    return value && isScalar( value->json() );
  } );
}

std::string InstanceNode::predicate() const {
  std::string text;
  if ( hasKeys() ) {
    for ( std::string_view const key : keys_ )
      if ( auto const value = member( key ) )
        text.append( "[" ).append( key ).append( "=" ).append( keyText( value->json() ) ).append( "]" );
  } else {
    text.append( "[" ).append( std::to_string( position_ ) ).append( "]" );
  }
  return text;
}

std::string_view InstanceNode::shown() const {
  bool const isLeaf = json_->as<JsonNode::Members>() == nullptr && json_->as<JsonNode::Elements>() == nullptr;
  return isLeaf ? json_->source() : json_->source().substr( 0, 1 );
}

// Objects

bool InstanceNode::isObject( Members members ) const {
  auto const* const present = json_->as<JsonNode::Members>();
  if ( present == nullptr ) {
    wrongKind( "an object" );
    return false;
  }
  for ( JsonMember const& each : *present ) checkMember( each, members );
  return true;
}

void InstanceNode::checkMember( JsonMember const& member, Members members ) const {
  std::string_view const name = plainName( member.name );
  if ( name.starts_with( '@' ) ) return;
  InstanceNode const node( *this, name, member.value );
  auto const known = std::find_if( members.begin(), members.end(),
                                   [name]( InstanceMember const& each ) { return each.name == name; } );
  Place const place = report_->placeOf( member.nameSource );
  if ( known != members.end() ) {
    if ( known->take == Take::refuse )
      report_->unsupported( member.nameSource, node.path() + ": " + std::string( known->reason ) );
    if ( name.size() != member.name.size() && json_->member( name ) != nullptr )
      report_->diagnostics().error( place, node.path() + ": this stands twice, with the module's name and without",
                                    "leave one of them out" );
    return;
  }
  if ( name.find( ':' ) != std::string_view::npos ) {
    report_->unsupported( member.nameSource, node.path() + ": this is of a module that is not read" );
    return;
  }
  NearestWord nearest( name );
  for ( InstanceMember const& each : members ) nearest.consider( each.name );
  std::string const question = nearest.question();
  report_->diagnostics().error( place, node.path() + ": there is no " + inQuotes( name ) + " here",
                                question.empty() ? "expected " + choiceText( members ) : question );
}

std::string_view InstanceNode::plainName( std::string_view name ) const {
  bool const isQualified =
      !module_.empty() && name.size() > module_.size() && name.starts_with( module_ ) && name[module_.size()] == ':';
  return isQualified ? name.substr( module_.size() + 1 ) : name;
}

std::optional<InstanceNode> InstanceNode::member( std::string_view name ) const& {
  auto const* const members = json_->as<JsonNode::Members>();
  if ( members == nullptr ) return std::nullopt;
  auto const found = std::find_if( members->begin(), members->end(),
                                   [&]( JsonMember const& each ) { return plainName( each.name ) == name; } );
  return found == members->end() ? std::nullopt : std::optional( InstanceNode( *this, name, found->value ) );
}

std::optional<InstanceNode> InstanceNode::required( std::string_view name ) const& {
  auto found = member( name );
  if ( !found )
    report_->diagnostics().error( place(), path() + "/" + std::string( name ) + ": this is missing", "add it here" );
  return found;
}

// Lists

bool InstanceNode::isArray() const {
  if ( json_->as<JsonNode::Elements>() != nullptr ) return true;
  wrongKind( "an array" );
  return false;
}

std::vector<InstanceNode> InstanceNode::entries( Keys keys ) const& {
  std::vector<InstanceNode> result;
  if ( !isArray() ) return result;
  std::unordered_map<std::string, std::size_t> first;  // position by keys
  std::size_t position = 0;
  for ( JsonNode const& each : *json_->as<JsonNode::Elements>() ) {
    InstanceNode const entry( *this, ++position, keys, each );
    if ( each.as<JsonNode::Members>() == nullptr ) {
      entry.wrongKind( "an object" );
      continue;
    }
    for ( std::string_view const key : keys ) static_cast<void>( entry.required( key ) );
    if ( entry.hasKeys() ) {
      auto const [known, isNew] = first.emplace( entry.predicate(), result.size() );
      if ( !isNew )
        entry.error( "this stands twice", "give each its own " + std::string( keys.front() ),
                     { { result[known->second].place(), "the first one" } } );
    }
    result.push_back( entry );
  }
  return result;
}

std::vector<InstanceNode> InstanceNode::values() const& {
  std::vector<InstanceNode> result;
  if ( !isArray() ) return result;
  for ( JsonNode const& each : *json_->as<JsonNode::Elements>() )
    result.push_back( InstanceNode( *this, result.size() + 1, {}, each ) );
  return result;
}

// Messages

void InstanceNode::error( std::string const& problem, std::string remedy, std::vector<RelatedPlace> related ) const {
  report_->diagnostics().error( place(), path() + ": " + problem, std::move( remedy ), std::move( related ) );
}

void InstanceNode::wrongKind( std::string const& wanted ) const {
  error( "this is " + std::string( json_->kindText() ), "write " + wanted );
}

void InstanceNode::unsupported( std::string_view reason ) const {
  report_->unsupported( shown(), path() + ": " + std::string( reason ) );
}

}  // namespace Orvex::Host

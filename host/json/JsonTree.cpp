#include "json/JsonTree.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <nlohmann/json.hpp>
#include <unordered_set>
#include <utility>

namespace Orvex::Host {

namespace {

/// Walks over a text and leaves word of how far it, or its last copy, has come.
class CountingIterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = char const*;
  using reference = char const&;

  CountingIterator( char const* at, char const** reached ) : at_( at ), reached_( reached ) {}

  char const& operator*() const { return *at_; }
  CountingIterator& operator++() {
    *reached_ = ++at_;
    return *this;
  }
  CountingIterator operator++( int ) {
    CountingIterator const before = *this;
    ++*this;
    return before;
  }
  friend bool operator==( CountingIterator const& a, CountingIterator const& b ) { return a.at_ == b.at_; }

 private:
  char const* at_;
  char const** reached_;
};

/// Objects with more members look their names up in a set.
constexpr std::size_t kFewMembers = 16;

/// Builds the tree. The parser tells what it has read, and not where: at every call the text has been read up to the end of
/// the token, or of a number, to one character beyond it.
class TreeBuilder : public nlohmann::json_sax<nlohmann::json> {
 public:
  TreeBuilder( SourceFile const& file, char const* const& reached, Diagnostics& diagnostics )
      : file_( file ), reached_( reached ), diagnostics_( diagnostics ) {}

  std::optional<JsonNode> result() { return failed_ ? std::nullopt : std::optional( std::move( root_ ) ); }

  bool null() override { return add( JsonNode::Null(), literal( 4 ) ); }
  bool boolean( bool value ) override { return add( value, literal( value ? 4 : 5 ) ); }
  bool number_integer( std::int64_t value ) override { return add( value, number() ); }
  bool number_unsigned( std::uint64_t value ) override { return add( value, number() ); }
  bool number_float( double value, std::string const& text ) override {
    if ( text.find_first_of( ".eE" ) == std::string::npos )
      error( number(), "the number does not fit", "integers go from -9223372036854775808 to 18446744073709551615" );
    return add( value, number() );
  }
  bool string( std::string& value ) override { return add( std::move( value ), quoted() ); }
  bool binary( nlohmann::json::binary_t& ) override { return false; }  // no such thing in text

  bool start_object( std::size_t ) override { return open( JsonNode::Members() ); }
  bool start_array( std::size_t ) override { return open( JsonNode::Elements() ); }
  bool end_object() override { return close(); }
  bool end_array() override { return close(); }

  bool key( std::string& name ) override {
    Level& level = levels_.back();
    auto& members = std::get<JsonNode::Members>( level.node.value() );
    if ( isRepeated( level, members, name ) ) reportRepeated( members, name );
    members.push_back( { std::move( name ), quoted(), {} } );
    return true;
  }

  bool parse_error( std::size_t position, std::string const&, nlohmann::json::exception const& exception ) override {
    auto [problem, remedy] = problemOf( exception.what() );
    std::string_view const part = problem.starts_with( "unexpected string" )   ? quoted()
                                  : problem.starts_with( "unexpected number" ) ? number()
                                                                               : characterBefore( position );
    error( part, std::move( problem ), std::move( remedy ) );
    return false;
  }

 private:
  /// An object or an array that is still open.
  struct Level {
    JsonNode node;
    std::unordered_set<std::string> names;  // of an object with many members
  };

  void error( std::string_view part, std::string problem, std::string remedy, std::vector<RelatedPlace> related = {} ) {
    failed_ = true;
    diagnostics_.error( file_.placeOf( part ), std::move( problem ), std::move( remedy ), std::move( related ) );
  }

  /// "[json.exception.parse_error.101] parse error at ...: syntax error while parsing value - unexpected '}'; expected X"
  static std::pair<std::string, std::string> problemOf( std::string_view what ) {
    std::size_t const dash = what.find( " - " );
    std::size_t const bracket = what.find( "] " );
    if ( dash != std::string_view::npos )
      what.remove_prefix( dash + 3 );
    else if ( bracket != std::string_view::npos )
      what.remove_prefix( bracket + 2 );
    std::size_t const expected = what.rfind( "; expected " );
    std::string remedy;
    if ( expected != std::string_view::npos ) {
      remedy = what.substr( expected + 2 );
      what = what.substr( 0, expected );
    }
    return { std::string( what.substr( 0, what.find( "; last read: " ) ) ), std::move( remedy ) };
  }

  /// The last character read, or the end of the last line that says something.
  std::string_view characterBefore( std::size_t position ) const {
    std::string_view const text = file_.text();
    if ( position != 0 && position <= text.size() ) return text.substr( position - 1, 1 );
    std::size_t const last = text.find_last_not_of( " \t\r\n" );
    return text.substr( last == std::string_view::npos ? 0 : last + 1, 0 );
  }

  // Where the last token stands

  static std::string_view from( char const* begin, char const* end ) {
    return { begin, static_cast<std::size_t>( end - begin ) };
  }
  std::string_view literal( std::size_t length ) const { return { reached_ - length, length }; }
  std::string_view number() const {
    char const* const first = file_.text().data();
    char const* const end = reached_[-1] >= '0' && reached_[-1] <= '9' ? reached_ : reached_ - 1;
    char const* begin = end;
    while ( begin != first && std::string_view( "0123456789+-.eE" ).find( begin[-1] ) != std::string_view::npos )
      --begin;
    return from( begin, end );
  }
  /// Back to a quote that no odd number of backslashes stands before.
  std::string_view quoted() const {
    auto const isEscaped = []( char const* quote ) {
      char const* at = quote;
      while ( at[-1] == '\\' ) --at;
      return ( quote - at ) % 2 != 0;
    };
    char const* begin = reached_ - 2;
    char const* const first = file_.text().data();
    while ( *begin != '"' || ( begin != first && isEscaped( begin ) ) ) --begin;
    return from( begin, reached_ );
  }

  // The tree

  bool add( JsonNode::Value value, std::string_view source ) {
    put( JsonNode( std::move( value ), source ) );
    return true;
  }
  void put( JsonNode node ) {
    if ( levels_.empty() ) {
      root_ = std::move( node );
      return;
    }
    JsonNode::Value& parent = levels_.back().node.value();
    if ( auto* const elements = std::get_if<JsonNode::Elements>( &parent ) )
      elements->push_back( std::move( node ) );
    else
      std::get<JsonNode::Members>( parent ).back().value = std::move( node );
  }
  bool open( JsonNode::Value value ) {
    if ( levels_.size() == kMaxJsonDepth ) {
      error( literal( 1 ), "this is nested too deep", "write at most " + std::to_string( kMaxJsonDepth ) + " levels" );
      return false;
    }
    levels_.push_back( { JsonNode( std::move( value ), literal( 1 ) ), {} } );
    return true;
  }
  bool close() {
    JsonNode node = std::move( levels_.back().node );
    levels_.pop_back();
    node.sourceIs( from( node.source().data(), reached_ ) );
    put( std::move( node ) );
    return true;
  }

  static bool isRepeated( Level& level, JsonNode::Members const& members, std::string const& name ) {
    if ( members.size() < kFewMembers )
      return std::any_of( members.begin(), members.end(), [&]( auto const& member ) { return member.name == name; } );
    if ( level.names.empty() )
      for ( JsonMember const& member : members ) level.names.insert( member.name );
    return !level.names.insert( name ).second;
  }
  void reportRepeated( JsonNode::Members const& members, std::string const& name ) {
    auto const first =
        std::find_if( members.begin(), members.end(), [&]( auto const& member ) { return member.name == name; } );
    error( quoted(), inQuotes( name ) + " stands twice in this object", "leave one of them out",
           { { file_.placeOf( first->nameSource ), "the first one" } } );
  }

  SourceFile const& file_;
  char const* const& reached_;
  Diagnostics& diagnostics_;
  bool failed_ = false;
  JsonNode root_;
  std::vector<Level> levels_;
};

}  // namespace

JsonNode::JsonNode() = default;
JsonNode::JsonNode( Value value, std::string_view source ) : value_( std::move( value ) ), source_( source ) {}
JsonNode::JsonNode( JsonNode const& other ) = default;
JsonNode::JsonNode( JsonNode&& other ) noexcept = default;
JsonNode& JsonNode::operator=( JsonNode const& other ) = default;
JsonNode& JsonNode::operator=( JsonNode&& other ) noexcept = default;
JsonNode::~JsonNode() = default;

JsonNode const* JsonNode::member( std::string_view name ) const {
  auto const* const members = as<Members>();
  if ( !members ) return nullptr;
  auto const found =
      std::find_if( members->begin(), members->end(), [&]( auto const& member ) { return member.name == name; } );
  return found == members->end() ? nullptr : &found->value;
}

std::string_view JsonNode::kindText() const {
  static constexpr std::array<std::string_view, std::variant_size_v<Value>> kTexts = {
      "null",     "a boolean", "a number", "a negative number", "a number with a fraction",
      "a string", "an array",  "an object" };
  return kTexts[value_.index()];
}

std::optional<JsonNode> readJson( SourceFile const& file, Diagnostics& diagnostics ) {
  for ( std::size_t line = 1; line <= file.lineCount(); ++line )
    if ( !file.lineIsText( line ) ) return std::nullopt;
  return readJson( file, file.text(), diagnostics );
}

std::optional<JsonNode> readJson( SourceFile const& file, std::string_view part, Diagnostics& diagnostics ) {
  char const* reached = part.data();
  TreeBuilder builder( file, reached, diagnostics );
  nlohmann::json::sax_parse( CountingIterator( part.data(), &reached ),
                             CountingIterator( part.data() + part.size(), &reached ), &builder );
  return builder.result();
}

}  // namespace Orvex::Host

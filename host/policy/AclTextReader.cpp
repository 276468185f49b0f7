#include "policy/AclTextReader.h"

#include <algorithm>
#include <array>
#include <deque>
#include <filesystem>
#include <set>
#include <string>
#include <utility>

#include "input/NearestWord.h"
#include "policy/AclAddresses.h"
#include "policy/AclFields.h"
#include "policy/AclLine.h"
#include "policy/AclObjects.h"
#include "policy/AclRules.h"

namespace Orvex::Host {

namespace {

/// Rules that have no number of their own get the next multiple.
constexpr std::uint32_t kNumberStep = 10;

/// What a line in a prefix list can begin with beside an address, and what ends the list.
constexpr std::string_view kPrefixListWords[] = { "except", "list", "remark", "ip", "ipv6", "port-list", "include" };

std::string textOf( Acl const& acl ) { return std::string( familyKeyword( acl.family ) ) + " access-list " + acl.name; }

/// An ACL while it is read.
struct OpenAcl {
  Acl acl;
  Place place;
  std::optional<Place> defaultAction;
  bool checksProtocols = true;
  std::vector<PolicyPlaces::OfRule> rules;
  std::optional<std::uint32_t> greatestNumber;
};

/// A rule that waits for its lists.
struct WaitingRule {
  OpenAcl* acl = nullptr;
  std::size_t rule = 0;
  RuleReferences references;
};

class AclTextReader {
 public:
  explicit AclTextReader( Diagnostics& diagnostics )
      : diagnostics_( diagnostics ),
        prefixLists_{ AclPrefixLists( Vell::AddressFamily::ipv4 ), AclPrefixLists( Vell::AddressFamily::ipv6 ) },
        portLists_( "port list" ) {
    prefixLists_[0].named().otherFamilyIs( prefixLists_[1].named() );
    prefixLists_[1].named().otherFamilyIs( prefixLists_[0].named() );
  }

  void read( std::shared_ptr<SourceFile const> const& file ) {
    std::string path = identity( file->name() );
    if ( !filesRead_.insert( path ).second ) return;
    open_.push_back( { std::move( path ), file } );
    filesHeld_.push_back( file );
    block_ = Block::none;
    for ( std::size_t number = 1; number <= file->lineCount() && !diagnostics_.tooManyErrors(); ++number )
      if ( file->lineIsText( number ) ) readLine( number );
    block_ = Block::none;
    open_.pop_back();
  }

  std::optional<LocatedPolicy> finished() {
    for ( AclPrefixLists& lists : prefixLists_ ) {
      lists.named().checkNesting( diagnostics_ );
      lists.named().checkExcepts( diagnostics_ );
    }
    portLists_.checkNesting( diagnostics_ );
    for ( WaitingRule const& each : waiting_ )
      if ( !diagnostics_.tooManyErrors() ) fillIn( each );
    for ( OpenAcl& each : acls_ ) checkUnique( each );
    if ( diagnostics_.failed() ) return std::nullopt;
    if ( acls_.empty() && !filesHeld_.empty() )
      diagnostics_.warning( filesHeld_.front()->whole(), "there is no ACL", "an ACL begins with ip access-list NAME" );
    return normalisedPolicy();
  }

 private:
  /// What the lines belong to. After a faulty beginning, lines are passed over until something else begins.
  enum class Block { none, acl, prefixList, portList, faulty };

  struct OpenFile {
    std::string path;
    std::shared_ptr<SourceFile const> file;
  };

  static constexpr std::size_t kMaxIncludeDepth = 64;

  static std::string identity( std::string const& path ) {
    std::error_code error;
    auto const canonical = std::filesystem::weakly_canonical( path, error );
    return error ? path : canonical.string();
  }

  SourceFile const& file() const { return *open_.back().file; }

  void readLine( std::size_t number ) {
    try {
      AclLine line( file(), number );
      if ( !line.atEnd() && line.word() != "remark" ) readStatement( line );
    } catch ( AclLineError const& error ) {
      Diagnostic const& found = error.diagnostic();
      diagnostics_.error( found.place, found.problem, found.remedy, found.related );
      if ( block_ == Block::prefixList || block_ == Block::portList ) list_->hasFaultyLines = true;
    }
  }

  void readStatement( AclLine& line ) {
    std::string_view const word = line.word();
    if ( word == "ip" || word == "ipv4" ) return beginOfFamily( line, Vell::AddressFamily::ipv4 );
    if ( word == "ipv6" ) return beginOfFamily( line, Vell::AddressFamily::ipv6 );
    if ( line.accept( "port-list" ) ) return beginPortList( line );
    if ( line.accept( "include" ) ) return include( line );
    switch ( block_ ) {
      case Block::acl:
        return readInAcl( line );
      case Block::prefixList:
        return readPrefixListEntry( line );
      case Block::portList:
        return readPortListEntry( line );
      case Block::faulty:
        return;
      case Block::none:
        failOutside( line );
    }
  }

  [[noreturn]] void failOutside( AclLine const& line ) {
    block_ = Block::faulty;
    NearestWord nearest( line.word() );
    for ( char const* const keyword : { "ip", "ipv6", "port-list", "include", "remark" } ) nearest.consider( keyword );
    line.failHere( "ip or ipv6 access-list, ip or ipv6 prefix-list, port-list or include", nearest.question() );
  }

  // What begins

  void beginOfFamily( AclLine& line, Vell::AddressFamily family ) {
    block_ = Block::faulty;
    line.take();
    if ( line.accept( "access-list" ) ) return beginAcl( line, family );
    if ( line.accept( "prefix-list" ) ) return beginPrefixList( line, family );
    NearestWord nearest( line.word() );
    nearest.consider( "access-list" );
    nearest.consider( "prefix-list" );
    line.failHere( "access-list or prefix-list", nearest.question() );
  }

  /// The rules of a second ACL of that name are read too, for their errors.
  void beginAcl( AclLine& line, Vell::AddressFamily family ) {
    std::string_view const word = line.word();
    acls_.push_back( {} );
    OpenAcl& open = acls_.back();
    open.acl.family = family;
    open.acl.name = line.takeName( "the ACL's name" );
    open.place = line.placeOf( word );
    block_ = Block::acl;
    auto const [first, isNew] = aclsByName_[Kiv::enumValue( family )].emplace( open.acl.name, &open );
    if ( !isNew )
      line.fail( word, textOf( open.acl ) + " is defined already", "rename one of the two, or join their rules",
                 { { first->second->place, "the first one" } } );
    if ( line.word() == "default" ) readDefault( line );
    line.expectEnd();
  }

  void beginPrefixList( AclLine& line, Vell::AddressFamily family ) {
    listFamily_ = family;
    list_ = &prefixLists( family ).named().define( line );
    line.expectEnd();
    block_ = Block::prefixList;
  }

  void beginPortList( AclLine& line ) {
    block_ = Block::faulty;
    list_ = &portLists_.define( line );
    line.expectEnd();
    block_ = Block::portList;
  }

  void include( AclLine& line ) {
    block_ = Block::none;
    std::string_view const word = line.word();
    std::filesystem::path const written = line.takeName( "the file to include" );
    line.expectEnd();
    std::string const path = ( std::filesystem::path( file().name() ).parent_path() / written ).string();
    std::string const id = identity( path );
    auto const isSame = [&id]( OpenFile const& each ) { return each.path == id; };
    auto const first = std::find_if( open_.begin(), open_.end(), isSame );
    if ( first != open_.end() ) failCircle( line, word, static_cast<std::size_t>( first - open_.begin() ) );
    if ( open_.size() == kMaxIncludeDepth )
      line.fail( word, "files include each other more than " + std::to_string( kMaxIncludeDepth ) + " deep" );
    if ( filesRead_.contains( id ) ) return;
    if ( auto const included = SourceFile::read( path, diagnostics_, line.placeOf( word ) ) ) read( included );
  }

  [[noreturn]] void failCircle( AclLine const& line, std::string_view word, std::size_t first ) const {
    std::string chain;
    for ( std::size_t at = first; at != open_.size(); ++at ) chain += open_[at].file->name() + " includes ";
    line.fail( word, "files include each other in a circle: " + chain + open_[first].file->name(),
               "remove one of the includes; a file that is included twice is read once" );
  }

  // Inside

  void readInAcl( AclLine& line ) {
    if ( line.word() == "default" ) {
      readDefault( line );
      line.expectEnd();
    } else if ( line.word() == "protocol-check" ) {
      readProtocolCheck( line );
    } else {
      readRuleOf( acls_.back(), line );
    }
  }

  void readDefault( AclLine& line ) {
    OpenAcl& open = acls_.back();
    std::string_view const word = line.take();
    if ( open.defaultAction )
      line.fail( word, "this ACL's default stands twice", "keep one of the two",
                 { { *open.defaultAction, "the first one" } } );
    open.defaultAction = line.placeOf( word );
    if ( line.accept( "permit" ) )
      open.acl.defaultAction = DefaultAction::permit;
    else if ( !line.accept( "deny" ) )
      line.failHere( "permit or deny" );
  }

  void readProtocolCheck( AclLine& line ) {
    std::string_view const word = line.take();
    if ( !line.accept( "off" ) ) line.failHere( "off" );
    line.expectEnd();
    OpenAcl& open = acls_.back();
    if ( !open.acl.rules.empty() )
      line.fail( word, "protocol-check stands behind rules", "write it before the ACL's first rule" );
    open.checksProtocols = false;
  }

  void readRuleOf( OpenAcl& open, AclLine& line ) {
    std::string_view const first = line.word();
    Vell::AddressFamily const family = open.acl.family;
    ReadRule read = readRule( line, { family, open.checksProtocols, prefixLists( family ), portLists_, diagnostics_ } );
    read.rule.index = read.number ? *read.number : nextNumber( open, line, first );
    open.greatestNumber = std::max( open.greatestNumber.value_or( 0 ), read.rule.index );
    open.rules.push_back( { read.rule.index, line.placeOf( first ) } );
    if ( !read.references.empty() )
      waiting_.push_back( { &open, open.acl.rules.size(), std::move( read.references ) } );
    open.acl.rules.push_back( std::move( read.rule ) );
  }

  static std::uint32_t nextNumber( OpenAcl const& open, AclLine const& line, std::string_view word ) {
    std::uint32_t const greatest = open.greatestNumber.value_or( 0 );
    if ( greatest > kMaxRuleNumber - kNumberStep )
      line.fail( word, "there is no rule number behind " + std::to_string( greatest ), "write lower rule numbers" );
    return ( greatest / kNumberStep + 1 ) * kNumberStep;
  }

  void readPrefixListEntry( AclLine& line ) {
    AclPrefixLists& lists = prefixLists( listFamily_ );
    if ( line.accept( "list" ) ) return nest( line, lists.named() );
    std::string_view const first = line.word();
    bool const excepted = line.accept( "except" );
    if ( excepted && line.word() == "list" ) line.failHere( "an address", "except takes addresses; lists only add" );
    auto& prefixes = excepted ? list_->addresses.excepts : list_->addresses.prefixes;
    prefixes.push_back( readAddress( line, listFamily_, diagnostics_, kPrefixListWords ) );
    if ( excepted ) list_->excepts.push_back( line.placeOf( first ) );
    line.expectEnd();
  }

  void readPortListEntry( AclLine& line ) {
    if ( line.accept( "list" ) ) return nest( line, portLists_ );
    RangeSet const ports = readValues( line, kPortWords );
    line.expectEnd();
    list_->ports.insert( list_->ports.end(), ports.begin(), ports.end() );
  }

  void nest( AclLine& line, NamedLists& lists ) {
    ListReferences references = lists.readReferences( line );
    line.expectEnd();
    list_->nested.insert( list_->nested.end(), references.begin(), references.end() );
  }

  // When all is read

  void fillIn( WaitingRule const& waiting ) {
    Acl& acl = waiting.acl->acl;
    Rule& rule = acl.rules[waiting.rule];
    std::string const user = "rule " + std::to_string( rule.index ) + " of " + textOf( acl );
    PolicyPlaces::OfRule& places = waiting.acl->rules[waiting.rule];
    auto const addresses = [&]( ListReferences const& references, SharedPrefixList& list, ListParts& parts ) {
      if ( references.empty() ) return;
      auto const joined = prefixLists( acl.family ).joined( references, user, diagnostics_ );
      list = joined.list;
      parts = joined.parts;
    };
    auto const ports = [&]( ListReferences const& references, RangeSet& ranges ) {
      if ( references.empty() ) return;
      for ( NamedList const* const list : portLists_.reachable( references, user, diagnostics_ ) )
        ranges.insert( ranges.end(), list->ports.begin(), list->ports.end() );
    };
    addresses( waiting.references.source, rule.source, places.source );
    addresses( waiting.references.destination, rule.destination, places.destination );
    ports( waiting.references.sourcePorts, rule.ranges[Field::sport] );
    ports( waiting.references.destinationPorts, rule.ranges[Field::dport] );
  }

  void checkUnique( OpenAcl& open ) {
    auto const byIndex = []( PolicyPlaces::OfRule const& a, PolicyPlaces::OfRule const& b ) {
      return a.index < b.index;
    };
    std::stable_sort( open.rules.begin(), open.rules.end(), byIndex );
    auto const sameIndex = []( PolicyPlaces::OfRule const& a, PolicyPlaces::OfRule const& b ) {
      return a.index == b.index;
    };
    for ( auto at = open.rules.begin();; ++at ) {
      at = std::adjacent_find( at, open.rules.end(), sameIndex );
      if ( at == open.rules.end() ) return;
      diagnostics_.error( std::next( at )->place,
                          "rule " + std::to_string( at->index ) + " stands twice in " + textOf( open.acl ),
                          "give each rule a number of its own", { { at->place, "the first one" } } );
    }
  }

  std::optional<LocatedPolicy> normalisedPolicy() {
    LocatedPolicy result;
    for ( AclPrefixLists const& lists : prefixLists_ ) lists.addNames( result.listNames );
    for ( OpenAcl& each : acls_ ) {
      result.places.aclIs( each.acl.family, each.acl.name, { each.place, std::move( each.rules ) } );
      result.policy.acls.push_back( std::move( each.acl ) );
    }
    return normalised( std::move( result ), diagnostics_ );
  }

  AclPrefixLists& prefixLists( Vell::AddressFamily family ) { return prefixLists_[Kiv::enumValue( family )]; }

  Diagnostics& diagnostics_;
  std::array<AclPrefixLists, 2> prefixLists_;
  NamedLists portLists_;
  std::deque<OpenAcl> acls_;
  std::array<std::map<std::string, OpenAcl*>, 2> aclsByName_;
  std::vector<WaitingRule> waiting_;

  std::set<std::string> filesRead_;
  std::vector<std::shared_ptr<SourceFile const>> filesHeld_;
  std::vector<OpenFile> open_;
  Block block_ = Block::none;
  NamedList* list_ = nullptr;  // of a list's block
  Vell::AddressFamily listFamily_ = Vell::AddressFamily::ipv4;
};

}  // namespace

std::optional<LocatedPolicy> readAclText( std::vector<std::shared_ptr<SourceFile const>> const& files,
                                          Diagnostics& diagnostics ) {
  AclTextReader reader( diagnostics );
  for ( auto const& file : files ) reader.read( file );
  return reader.finished();
}

}  // namespace Orvex::Host

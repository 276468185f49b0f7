#include "Orvex/OrvexPrefixXformSm.h"

#include <algorithm>
#include <iterator>

#include "Kiv/Trace.h"

namespace Orvex {

namespace {

Kiv::TraceHandle traceHandle( "OrvexPrefixXformSm" );

/// How far ahead to fetch what lies apart from its neighbours: the processor can fetch several at a time.
constexpr std::size_t kAhead = 8;

Kiv::String traceName( Brae::ChipId chipId, PrefixXformKey key ) {
  Kiv::TextStream text;
  text << "PrefixXformSm(" << chipId << ", " << key.af() << ( key.src() ? ", src" : ", dst" ) << ")::";
  return text.str();
}

/// A class of sets that names a prefix, or excepts it.
struct Naming {
  Vell::IpGenPrefix prefix;
  std::uint32_t classId;
  bool except;
};

bool isBefore( Naming const& a, Naming const& b ) {
  if ( a.prefix != b.prefix ) return a.prefix < b.prefix;
  return a.except != b.except ? b.except : a.classId < b.classId;
}

}  // namespace

/// For each prefix, in pre-order of the trie, the classes that name it and those that except it.
class OrvexPrefixXformSm::DirectSets {
 public:
  struct Piece {
    Vell::IpGenPrefix prefix;
    std::span<std::uint32_t const> naming;
    std::span<std::uint32_t const> excepting;
  };

  explicit DirectSets( std::vector<Naming> namings ) {
    std::sort( namings.begin(), namings.end(), isBefore );
    classIds_.reserve( namings.size() );
    std::size_t prefixes = 0;
    for ( Naming const& naming : namings ) {
      if ( &naming == &namings.front() || ( &naming - 1 )->prefix != naming.prefix ) ++prefixes;
      classIds_.push_back( naming.classId );
    }
    pieces_.reserve( prefixes );
    for ( std::size_t at = 0; at != namings.size(); ) {
      Vell::IpGenPrefix const prefix = namings[at].prefix;
      std::size_t const begin = at;
      while ( at != namings.size() && namings[at].prefix == prefix && !namings[at].except ) ++at;
      std::size_t const middle = at;
      while ( at != namings.size() && namings[at].prefix == prefix ) ++at;
      pieces_.push_back( { prefix, std::span( classIds_ ).subspan( begin, middle - begin ),
                           std::span( classIds_ ).subspan( middle, at - middle ) } );
    }
  }

  DirectSets( DirectSets&& ) = default;  // moved vectors keep their memory, which the pieces refer to

  std::vector<Piece> const& pieces() const { return pieces_; }

 private:
  std::vector<std::uint32_t> classIds_;
  std::vector<Piece> pieces_;
};

/// Completes the groups, from the outside in.
class OrvexPrefixXformSm::UpdatePrefixSetListCallback : public Vell::TrieGenWalkCallback {
 public:
  UpdatePrefixSetListCallback( OrvexPrefixXformSm& machine, DirectSets const& directSets,
                               Kiv::Ptr<GenSetKeyClasses const> const& classes )
      : machine_( machine ),
        pieces_( directSets.pieces() ),
        interner_( classes ),
        likelyHashSums_( likelyHashSums( pieces_, *classes ) ) {
    interner_.reserve( pieces_.size() );
  }

  bool handlePrefix( Vell::IpGenPrefix const& prefix ) override {
    traceHandle.trace( 8, machine_.traceStr(), "handlePrefix prefix ", prefix );
    Kiv::fatalUnless( next_ != pieces_.size() && pieces_[next_].prefix == prefix, "setList" );
    if ( next_ + kAhead < pieces_.size() )
      __builtin_prefetch( interner_.searchBegin( likelyHashSums_[next_ + kAhead] ) );
    DirectSets::Piece const& piece = pieces_[next_];
    std::uint64_t const likelyHashSum = likelyHashSums_[next_++];
    auto group = groupOf( piece, machine_.trie_->findParent( prefix ), likelyHashSum );
    machine_.prefixToGenSetGrp_.set( prefix, group );
    ancestors_.push_back( { prefix, std::move( group ), likelyHashSum } );
    return true;
  }

 private:
  /// The hash sum of each piece's group, right unless a set names a prefix that it already has, or excepts one that it has not.
  static std::vector<std::uint64_t> likelyHashSums( std::vector<DirectSets::Piece> const& pieces,
                                                    GenSetKeyClasses const& classes ) {
    std::vector<std::uint64_t> sums;
    sums.reserve( pieces.size() );
    std::vector<std::size_t> ancestors;
    for ( DirectSets::Piece const& piece : pieces ) {
      while ( !ancestors.empty() && !pieces[ancestors.back()].prefix.contains( piece.prefix ) ) ancestors.pop_back();
      std::uint64_t sum = ancestors.empty() ? 0 : sums[ancestors.back()];
      for ( std::uint32_t const classId : piece.naming ) sum += classes.hashSum( classId );
      for ( std::uint32_t const classId : piece.excepting ) sum -= classes.hashSum( classId );
      ancestors.push_back( sums.size() );
      sums.push_back( sum );
    }
    return sums;
  }

  struct Ancestor {
    Vell::IpGenPrefix prefix;
    Kiv::Ptr<GenSetKeyGroup> group;
    std::uint64_t likelyHashSum;
  };

  /// The parent's group without the excepting sets, and with the naming ones. The walk has come down by the parent.
  Kiv::Ptr<GenSetKeyGroup> groupOf( DirectSets::Piece const& piece, std::optional<Vell::IpGenPrefix> const& parent,
                                    std::uint64_t likelyHashSum ) {
    while ( !ancestors_.empty() && ancestors_.back().prefix != parent ) ancestors_.pop_back();
    if ( !parent ) return interner_.group( piece.naming );
    traceHandle.trace( 8, machine_.traceStr(), "...parent ", *parent );
    auto const& inherited = ancestors_.back().group;
    if ( traceHandle.enabled( 6 ) ) traceInheritance( piece, *inherited );
    if ( piece.naming.empty() && piece.excepting.empty() ) return inherited;
    kept_.clear();
    std::set_difference( inherited->classIds().begin(), inherited->classIds().end(), piece.excepting.begin(),
                         piece.excepting.end(), std::back_inserter( kept_ ) );
    classIds_.clear();
    std::set_union( kept_.begin(), kept_.end(), piece.naming.begin(), piece.naming.end(),
                    std::back_inserter( classIds_ ) );
    bool const likely = kept_.size() + piece.excepting.size() == inherited->classIds().size() &&
                        classIds_.size() == kept_.size() + piece.naming.size();
    if ( !likely ) return interner_.group( classIds_ );
    return interner_.group( classIds_, inherited->hashSum() + likelyHashSum - ancestors_.back().likelyHashSum );
  }

  void traceInheritance( DirectSets::Piece const& piece, GenSetKeyGroup const& inherited ) const {
    for ( std::uint32_t const classId : inherited.classIds() ) {
      bool const hit = std::binary_search( piece.excepting.begin(), piece.excepting.end(), classId );
      for ( std::size_t keys = inherited.classes()->keys( classId ).size(); keys != 0; --keys )
        traceHandle.trace( 6, machine_.traceStr(), hit ? "......hit exceptPrefix" : "......did not hit exceptPrefix" );
    }
  }

  OrvexPrefixXformSm& machine_;
  std::vector<DirectSets::Piece> const& pieces_;
  std::size_t next_ = 0;
  GenSetKeyGroupInterner interner_;
  std::vector<std::uint64_t> likelyHashSums_;
  std::vector<Ancestor> ancestors_;
  std::vector<std::uint32_t> kept_;
  std::vector<std::uint32_t> classIds_;
};

class OrvexPrefixXformSm::DumpWalkCallback : public Vell::TrieGenWalkCallback {
 public:
  explicit DumpWalkCallback( OrvexPrefixXformSm const& machine ) : machine_( machine ) {}

  bool handlePrefix( Vell::IpGenPrefix const& prefix ) override {
    traceHandle.trace( 8, machine_.traceStr(), "handlePrefix prefix ", prefix );
    auto const group = machine_.prefixToGenSetGrp_.find( prefix );
    auto const line = Kiv::TraceHelper::createIfEnabled( traceHandle, 6 );
    *line << machine_.traceStr() << "...label";
    for ( GenSetKey const key : group->keyGroup() ) *line << " " << key.value();
    line->trace();
    for ( GenSetKey const key : group->keyGroup() ) {
      auto const set = machine_.prefixAggregatorInfo().prefixSetColl().find( key );
      for ( auto const& named : set->prefix() ) traceHandle.trace( 6, machine_.traceStr(), "......prefix ", named );
      for ( auto const& excepted : set->exceptPrefix() )
        traceHandle.trace( 6, machine_.traceStr(), "......prefix ", excepted, " except" );
    }
    return true;
  }

 private:
  OrvexPrefixXformSm const& machine_;
};

OrvexPrefixXformSm::OrvexPrefixXformSm( Brae::ChipId chipId, Kiv::Ptr<PrefixXformConfig const> const& config,
                                        Kiv::Ptr<PrefixXformStatus> const& status,
                                        Kiv::Ptr<ChipHwCapability const> const& hwCapability, PrefixXformKey key )
    : XformSmBase( chipId, config, status, hwCapability, traceName( chipId, key ) ),
      key_( key ),
      prefixXformStatus_( status ) {}

PrefixAggregatorInfo const& OrvexPrefixXformSm::prefixAggregatorInfo() const {
  return *Kiv::ptrCast<PrefixXformConfig const>( config() )->aggregatorInfo();
}

std::uint32_t OrvexPrefixXformSm::xformWidth() const {
  auto const attr = hwCapability()->prefixEncodingAttr().find( key_ );
  Kiv::fatalUnless( attr.has_value(), "hwCapability()->prefixEncodingAttrHas( key() )" );
  return attr->width();
}

void OrvexPrefixXformSm::doBuildWorkingSet() {
  traceHandle.trace( 8, traceStr(), "doBuildWorkingSet" );
  workingSetIs( keysOf( prefixAggregatorInfo().prefixSetColl() ) );
}

void OrvexPrefixXformSm::doBuildSetGroup() {
  traceHandle.trace( 8, traceStr(), "doBuildSetGroup" );
  auto const content = contentClassesOf( prefixAggregatorInfo().prefixSetColl() );
  DirectSets const directSets = doInitSetGroup( content );
  doBuildTrie( directSets );
  prefixToGenSetGrp_.clear();
  if ( traceHandle.enabled( 6 ) ) {
    GenSetKeyGroupInterner interner( content.classes );
    for ( auto const& piece : directSets.pieces() )
      prefixToGenSetGrp_.set( piece.prefix, interner.group( piece.naming ) );
    dumpTrie( "*** Trie built ***" );
    prefixToGenSetGrp_.clear();
  }
  prefixToGenSetGrp_.reserve( directSets.pieces().size() );
  UpdatePrefixSetListCallback update( *this, directSets, content.classes );
  walkTrie( update );
  dumpTrie( "*** PrefixSetLists updated ***" );
}

/// An excepted prefix is a piece too, also where no set names it.
OrvexPrefixXformSm::DirectSets OrvexPrefixXformSm::doInitSetGroup( ContentClasses<PrefixSet> const& content ) const {
  traceHandle.trace( 8, traceStr(), "doInitSetGroup" );
  std::vector<Naming> namings;
  namings.reserve( content.sets.size() );
  for ( std::uint32_t classId = 0; classId != content.sets.size(); ++classId ) {
    if ( classId + kAhead < content.sets.size() && !content.sets[classId + kAhead]->prefix().empty() )
      __builtin_prefetch( &*content.sets[classId + kAhead]->prefix().begin() );
    for ( auto const& prefix : content.sets[classId]->prefix() ) namings.push_back( { prefix, classId, false } );
    for ( auto const& prefix : content.sets[classId]->exceptPrefix() ) namings.push_back( { prefix, classId, true } );
  }
  return DirectSets( std::move( namings ) );
}

void OrvexPrefixXformSm::doBuildTrie( DirectSets const& directSets ) {
  traceHandle.trace( 8, traceStr(), "doBuildTrie" );
  trie_ = Kiv::make<Vell::TrieGen>( "OrvexPrefixXformTrie", key_.af() );
  for ( auto const& piece : directSets.pieces() ) {
    traceHandle.trace( 6, traceStr(), "prefix ", piece.prefix );
    trie_->routeIs( piece.prefix, true );
  }
}

void OrvexPrefixXformSm::walkTrie( Vell::TrieGenWalkCallback& callback ) const {
  trie_->preOrderWalk( Vell::IpGenPrefix::defaultRoute( key_.af() ), callback );
}

void OrvexPrefixXformSm::dumpTrie( std::string_view header ) const {
  if ( !traceHandle.enabled( 6 ) ) return;
  traceHandle.trace( 6, traceStr(), header );
  DumpWalkCallback dump( *this );
  walkTrie( dump );
}

void OrvexPrefixXformSm::doAllocLabels() {
  traceHandle.trace( 8, traceStr(), "doAllocLabels" );
  prefixXformStatus_->prefixToLabelMapDelAll();
  labelPieces( prefixToGenSetGrp_, [this]( Vell::IpGenPrefix const& prefix, PlainLabel label ) {
    prefixXformStatus_->prefixToLabelMapIs( prefix, label );
  } );
}

}  // namespace Orvex

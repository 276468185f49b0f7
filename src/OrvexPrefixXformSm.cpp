#include "Orvex/OrvexPrefixXformSm.h"

#include <algorithm>
#include <iterator>

#include "Kiv/Trace.h"

namespace Orvex {

namespace {

Kiv::TraceHandle traceHandle( "OrvexPrefixXformSm" );

/// Stands for the sets that except a prefix: they do not name it.
constexpr std::uint32_t kNoClass = ~std::uint32_t{ 0 };

Kiv::String traceName( Brae::ChipId chipId, PrefixXformKey key ) {
  Kiv::TextStream text;
  text << "PrefixXformSm(" << chipId << ", " << key.af() << ( key.src() ? ", src" : ", dst" ) << ")::";
  return text.str();
}

/// A prefix, and a class of sets that name it.
struct Naming {
  Vell::IpGenPrefix prefix;
  std::uint32_t classId;
};

/// Enters the group of the classes that name it for each prefix. `namings` come in ascending order of the classes.
void groupByPrefix( std::vector<Naming>& namings, GenSetKeyGroupInterner& interner,
                    Kiv::SortedMap<Vell::IpGenPrefix, Kiv::Ptr<GenSetKeyGroup>>& groups ) {
  std::stable_sort( namings.begin(), namings.end(),
                    []( Naming const& a, Naming const& b ) { return a.prefix < b.prefix; } );
  std::vector<std::uint32_t> classIds;
  for ( auto naming = namings.begin(); naming != namings.end(); ) {
    Vell::IpGenPrefix const prefix = naming->prefix;
    classIds.clear();
    for ( ; naming != namings.end() && naming->prefix == prefix; ++naming )
      if ( naming->classId != kNoClass ) classIds.push_back( naming->classId );
    groups.set( prefix, interner.group( classIds ) );
  }
}

}  // namespace

/// Completes the groups, from the outside in.
class OrvexPrefixXformSm::UpdatePrefixSetListCallback : public Vell::TrieGenWalkCallback {
 public:
  UpdatePrefixSetListCallback( OrvexPrefixXformSm& machine, GenSetKeyGroupInterner& interner )
      : machine_( machine ), interner_( interner ) {}

  bool handlePrefix( Vell::IpGenPrefix const& prefix ) override {
    traceHandle.trace( 8, machine_.traceStr(), "handlePrefix prefix ", prefix );
    auto const parent = machine_.trie_->findParent( prefix );
    auto const own = machine_.prefixToGenSetGrp_.find( prefix );
    Kiv::fatalUnless( own != nullptr, "setList" );
    if ( !parent ) return true;
    traceHandle.trace( 8, machine_.traceStr(), "...parent ", *parent );
    auto const inherited = machine_.prefixToGenSetGrp_.find( *parent );
    auto const excepting = machine_.exceptingGroups_.find( prefix );
    if ( traceHandle.enabled( 6 ) ) traceInheritance( *inherited, excepting );
    machine_.prefixToGenSetGrp_.set( prefix,
                                     own->empty() && !excepting ? inherited : combined( *inherited, excepting, *own ) );
    return true;
  }

 private:
  /// The inherited group without the excepting one, and with the prefix's own.
  Kiv::Ptr<GenSetKeyGroup> combined( GenSetKeyGroup const& inherited, Kiv::Ptr<GenSetKeyGroup> const& excepting,
                                     GenSetKeyGroup const& own ) {
    kept_.clear();
    std::span<std::uint32_t const> excepted;
    if ( excepting ) excepted = excepting->classIds();
    std::set_difference( inherited.classIds().begin(), inherited.classIds().end(), excepted.begin(), excepted.end(),
                         std::back_inserter( kept_ ) );
    classIds_.clear();
    std::set_union( kept_.begin(), kept_.end(), own.classIds().begin(), own.classIds().end(),
                    std::back_inserter( classIds_ ) );
    return interner_.group( classIds_ );
  }

  void traceInheritance( GenSetKeyGroup const& inherited, Kiv::Ptr<GenSetKeyGroup> const& excepting ) const {
    for ( GenSetKey const key : inherited.keyGroup() )
      traceHandle.trace(
          6, machine_.traceStr(),
          excepting && excepting->keyGroupHas( key ) ? "......hit exceptPrefix" : "......did not hit exceptPrefix" );
  }

  OrvexPrefixXformSm& machine_;
  GenSetKeyGroupInterner& interner_;
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
  GenSetKeyGroupInterner interner( content.classes );
  doInitSetGroup( content, interner );
  doBuildTrie();
  traceHandle.trace( 6, traceStr(), "*** Trie built ***" );
  dumpTrie();
  UpdatePrefixSetListCallback update( *this, interner );
  walkTrie( update );
  traceHandle.trace( 6, traceStr(), "*** PrefixSetLists updated ***" );
  dumpTrie();
}

/// Enters for each prefix the group of the sets that name it; for one that is only excepted, the empty group.
void OrvexPrefixXformSm::doInitSetGroup( ContentClasses<PrefixSet> const& content, GenSetKeyGroupInterner& interner ) {
  traceHandle.trace( 8, traceStr(), "doInitSetGroup" );
  prefixToGenSetGrp_.clear();
  exceptingGroups_.clear();
  std::vector<Naming> namings;
  std::vector<Naming> exceptings;
  for ( std::uint32_t classId = 0; classId != content.sets.size(); ++classId ) {
    for ( auto const& prefix : content.sets[classId]->prefix() ) namings.push_back( { prefix, classId } );
    for ( auto const& prefix : content.sets[classId]->exceptPrefix() ) {
      namings.push_back( { prefix, kNoClass } );
      exceptings.push_back( { prefix, classId } );
    }
  }
  groupByPrefix( namings, interner, prefixToGenSetGrp_ );
  groupByPrefix( exceptings, interner, exceptingGroups_ );
}

void OrvexPrefixXformSm::doBuildTrie() {
  traceHandle.trace( 8, traceStr(), "doBuildTrie" );
  trie_ = Kiv::make<Vell::TrieGen>( "OrvexPrefixXformTrie", key_.af() );
  for ( auto const& [prefix, group] : prefixToGenSetGrp_ ) {
    traceHandle.trace( 6, traceStr(), "prefix ", prefix );
    trie_->routeIs( prefix, true );
  }
}

void OrvexPrefixXformSm::walkTrie( Vell::TrieGenWalkCallback& callback ) const {
  trie_->preOrderWalk( Vell::IpGenPrefix::defaultRoute( key_.af() ), callback );
}

void OrvexPrefixXformSm::dumpTrie() const {
  if ( !traceHandle.enabled( 6 ) ) return;
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

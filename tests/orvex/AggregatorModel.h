#pragma once

/// An aggregator to be kicked, its status as lines of text, and a slow, obvious model that says what those lines must be.
///
///     "ipv4 source 1: 10.0.0.0/8 !10.1.0.0/16"     a prefix set: space, key, content
///     "dport 2: 80-80 443-443"                     a range set: field, key, content
///     "uses 2: 1"                                  how many rule fields use a key
///     "acl edge ipv4"
///     "edge/web: source 1, dport 2, init"          a rule's fields other than 0
///     "edge 10: web"                               a rule's place
///
/// The stage's fingerprint does not see every edit: not those of actions and places, nor those whose hashes cancel out. So
/// the model computes it too, and both sides skip the same kicks.

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Orvex/OrvexAggregatorSm.h"
#include "Orvex/OrvexByteHash.h"
#include "orvex/TestPolicy.h"

namespace Orvex::Test {

inline std::string textOf( std::set<NumberRange> const& ranges ) {
  Kiv::TextStream text;
  for ( auto const& [first, last] : ranges ) text << " " << first << "-" << last;
  return text.str();
}

template <class Prefixes>
std::string textOf( Prefixes const& prefixes, Prefixes const& exceptPrefixes ) {
  std::set<Vell::IpGenPrefix> ascending, exceptAscending;
  for ( Vell::IpGenPrefix const& prefix : prefixes ) ascending.insert( prefix );
  for ( Vell::IpGenPrefix const& prefix : exceptPrefixes ) exceptAscending.insert( prefix );
  Kiv::TextStream text;
  for ( auto const& prefix : ascending ) text << " " << prefix;
  for ( auto const& prefix : exceptAscending ) text << " !" << prefix;
  return text.str();
}

inline std::string spaceName( Vell::AddressFamily af, bool src ) {
  return std::string( Kiv::stringValue( af ) ) + ( src ? " source" : " destination" );
}

inline constexpr std::size_t kRangeFieldCount = std::size( kRangeFields );

/// The keys, flags and action of a rule, whoever found them.
struct RuleLine {
  std::uint64_t source = 0, destination = 0;
  std::uint64_t ranges[kRangeFieldCount] = {};
  bool init = false, established = false;
  OrvexActionValue action;

  std::string text() const {
    std::string all;
    auto const add = [&all]( std::string const& word ) { all += ( all.empty() ? " " : ", " ) + word; };
    auto const addKey = [&]( std::string_view field, std::uint64_t key ) {
      if ( key != 0 ) add( std::string( field ) + " " + std::to_string( key ) );
    };
    addKey( "source", source );
    addKey( "destination", destination );
    for ( std::size_t i = 0; i != kRangeFieldCount; ++i ) addKey( kRangeFields[i].name, ranges[i] );
    if ( init ) add( "init" );
    if ( established ) add( "established" );
    if ( action.dropEnabled ) add( "drop" );
    return all;
  }
};

/// What the status holds, in ascending order of lines.
inline std::vector<std::string> linesOf( AggregatorStatus const& status ) {
  std::vector<std::string> lines;
  auto const number = []( GenSetKey key ) { return std::to_string( key.value() ); };
  for ( auto const [space, info] : status.prefixInfo() )
    for ( auto const [key, set] : info->prefixSetColl() )
      lines.push_back( spaceName( space.af(), space.src() ) + " " + number( set->key() ) + ":" +
                       textOf( set->prefix(), set->exceptPrefix() ) );
  for ( auto const [field, info] : status.rangeSplitInfo() )
    for ( auto const [key, set] : info->rangeSetColl() ) {
      std::set<NumberRange> ranges;
      for ( RangeSetElem const& range : set->range() ) ranges.emplace( range.first(), range.last() );
      lines.push_back( std::string( kRangeFields[Kiv::enumValue( set->type() )].name ) + " " + number( key ) + ":" +
                       textOf( ranges ) );
    }
  for ( auto const [key, count] : status.genSetUsageInfo()->refCount() )
    lines.push_back( "uses " + number( count.key ) + ": " + std::to_string( count.value ) );
  for ( auto const [name, acl] : status.aclGenSetIpRuleList() ) {
    std::string const aclName( acl->name().view() );
    lines.push_back( "acl " + aclName + " " + std::string( Kiv::stringValue( acl->af() ) ) );
    for ( auto const [ruleName, rule] : acl->genSetIpRule() ) {
      RuleLine line{ rule->source().value(), rule->destination().value(), {},
                     rule->matchTcpInit(),   rule->matchTcpEstablished(), rule->action() };
      for ( std::size_t i = 0; i != kRangeFieldCount; ++i )
        line.ranges[i] = rule->range( static_cast<RangeSetType>( i ) ).value();
      lines.push_back( aclName + "/" + std::string( rule->name().view() ) + ":" + line.text() );
    }
    for ( auto const [index, rule] : acl->genSetIpRuleById() )
      lines.push_back(
          aclName + " " + std::to_string( index.value() ) + ": " +
          ( rule == acl->genSetIpRule().find( rule->name() ) ? std::string( rule->name().view() ) : "not a member" ) );
  }
  std::sort( lines.begin(), lines.end() );
  return lines;
}

/// A stage with its surroundings, kicked as its controller does.
struct Aggregator {
  Aggregator() {
    status->handleInitialized();
    stage->hasNotificationActiveIs( true );
  }
  StageStatusType kick() {
    config->kickTimeIs( config->kickTime() + 1 );
    return status->status();
  }
  std::vector<std::string> lines() const { return linesOf( *status ); }

  Kiv::Ptr<AclConfigColl> const policy = Kiv::make<AclConfigColl>( Brae::ChipId( 3 ) );
  Kiv::Ptr<ChipHwCapability> const capability = Kiv::make<ChipHwCapability>( Brae::ChipId( 3 ) );
  Kiv::Ptr<GenSetKeyGenerator> const keys = Kiv::make<GenSetKeyGenerator>();
  Kiv::Ptr<AggregatorConfig> const config = Kiv::make<AggregatorConfig>( policy );
  Kiv::Ptr<AggregatorStatus> const status = Kiv::make<AggregatorStatus>();
  Kiv::Ptr<AggregatorSm> const stage = Kiv::make<AggregatorSm>( Brae::ChipId( 3 ), config, status, capability, keys );
};

class AggregatorModel {
 public:
  AggregatorModel( Kiv::Ptr<AclConfigColl const> policy, Kiv::Ptr<ChipHwCapability const> capability )
      : policy_( std::move( policy ) ), capability_( std::move( capability ) ) {}

  /// To be told of each list that is new or has been edited: it is another list from then on.
  void listChanged( IpPrefixList const& list ) { identities_[&list] = ++lastIdentity_; }

  /// The status that a kick must end with. `lines`, `lastKey` and `deletedRules` then have what it must leave behind;
  /// which keys a failed kick has used up is its own business.
  StageStatusType kick() {
    deletedRules = 0;
    if ( !isValid() ) {
      fingerprint_ = {};
      keys_.clear();
      lines.clear();
      return StageStatusType::finishedFailed;
    }
    auto const fingerprint = this->fingerprint();
    if ( std::exchange( fingerprint_, fingerprint ) == fingerprint ) return StageStatusType::finishedSkipped;
    build();
    return StageStatusType::finishedSuccess;
  }

  std::vector<std::string> lines;
  std::uint64_t lastKey = 0;
  std::size_t deletedRules = 0;

 private:
  using Keys = std::map<std::string, std::uint64_t>;

  /// The family of all the ACL's prefixes; no value when it has prefixes of both.
  static std::optional<Vell::AddressFamily> familyOf( AclConfig const& acl ) {
    std::set<Vell::AddressFamily> families;
    for ( auto const [name, rule] : acl.ruleByName() )
      for ( auto const& list : { rule->ruleFilter()->source(), rule->ruleFilter()->destination() } ) {
        if ( !list ) continue;
        for ( auto const& prefix : list->addr() ) families.insert( prefix.af() );
        for ( auto const& prefix : list->exceptAddr() ) families.insert( prefix.af() );
      }
    if ( families.size() > 1 ) return std::nullopt;
    return families.empty() ? Vell::AddressFamily::ipv4 : *families.begin();
  }

  bool isValid() const {
    for ( auto const [aclName, acl] : policy_->acl() ) {
      for ( auto const [ruleName, rule] : acl->ruleByName() ) {
        if ( !rule->ruleFilter() ) return false;
        for ( std::size_t i = 0; i != kRangeFieldCount; ++i )
          for ( auto const& [first, last] : setOf( *rule->ruleFilter(), i ) )
            if ( first > last ) return false;
      }
      if ( !familyOf( *acl ) ) return false;
    }
    return true;
  }

  /// A field's ranges as a set of 16-bit numbers.
  static std::set<NumberRange> setOf( RuleFilter const& filter, std::size_t field ) {
    std::set<NumberRange> ranges;
    for ( auto const& [first, last] : rangesOf( filter, static_cast<RangeSetType>( field ) ) )
      ranges.emplace( first % 65536, last % 65536 );
    return ranges;
  }

  std::pair<std::uint32_t, std::uint32_t> fingerprint() const {
    ByteHash a, b;
    std::uint32_t acls = 0, rules = 0;
    for ( auto const [aclName, acl] : policy_->acl() ) {
      ++acls;
      a.combine( aclName.hash() );
      for ( auto const [ruleName, rule] : acl->ruleByName() ) {
        ++rules;
        std::uint32_t const filterHash = rule->ruleFilter()->hash();
        a.combine( ruleName.hash() ).feed( filterHash );
        b.feed( filterHash ).combine( ruleName.hash() );
      }
      b.combine( aclName.hash() );
    }
    return { a.feed( acls ).feed( rules ).result(), b.feed( rules ).feed( acls ).result() };
  }

  void build() {
    Keys const before = std::exchange( keys_, {} );
    std::map<std::uint64_t, std::uint32_t> uses;
    lines.clear();
    for ( auto const [aclKey, acl] : policy_->acl() ) {
      std::string const aclName( acl->name().view() );
      Vell::AddressFamily const af = *familyOf( *acl );
      lines.push_back( "acl " + aclName + " " + std::string( Kiv::stringValue( af ) ) );
      for ( auto const [ruleName, rule] : acl->ruleByName() ) {
        RuleLine const line = ruleLine( *rule, af, before );
        lines.push_back( aclName + "/" + std::string( ruleName.view() ) + ":" + line.text() );
        count( line, af, uses );
      }
      for ( auto const [index, rule] : acl->ruleById() ) {
        if ( acl->ruleByNameHas( rule->name() ) )
          lines.push_back( aclName + " " + std::to_string( index.value() ) + ": " +
                           std::string( rule->name().view() ) );
        else
          ++deletedRules;
      }
    }
    for ( auto const& [key, value] : uses )
      lines.push_back( "uses " + std::to_string( key ) + ": " + std::to_string( value ) );
    std::sort( lines.begin(), lines.end() );
  }

  RuleLine ruleLine( RuleConfig const& rule, Vell::AddressFamily af, Keys const& before ) {
    RuleFilter const& filter = *rule.ruleFilter();
    RuleLine line{ 0, 0, {}, filter.matchTcpInit(), filter.matchTcpEstablished(), rule.action() };
    line.source = prefixKey( filter.source(), spaceName( af, true ), before );
    line.destination = prefixKey( filter.destination(), spaceName( af, false ), before );
    for ( std::size_t i = 0; i != kRangeFieldCount; ++i ) {
      auto const ranges = setOf( filter, i );
      if ( ranges.empty() ) continue;
      ++lastKey;  // used up, whether or not there is such a set
      std::string const field( kRangeFields[i].name );
      line.ranges[i] = key( field + textOf( ranges ), lastKey, before, field, textOf( ranges ) );
    }
    return line;
  }

  std::uint64_t prefixKey( Kiv::Ptr<IpPrefixList> const& list, std::string const& space, Keys const& before ) {
    if ( !list ) return 0;
    std::string const identity = space + " list " + std::to_string( identities_.at( list.get() ) );
    if ( !keys_.count( identity ) && !before.count( identity ) ) ++lastKey;
    return key( identity, lastKey, before, space, textOf( list->addr(), list->exceptAddr() ) );
  }

  /// The key of the set that this kick or the one before has under `identity`, otherwise `newKey`.
  std::uint64_t key( std::string const& identity, std::uint64_t newKey, Keys const& before, std::string const& where,
                     std::string const& content ) {
    auto const [at, isNew] = keys_.emplace( identity, before.count( identity ) ? before.at( identity ) : newKey );
    if ( isNew ) lines.push_back( where + " " + std::to_string( at->second ) + ":" + content );
    return at->second;
  }

  /// Each use counts, but not those in a pair that the chip matches through a combination.
  void count( RuleLine const& line, Vell::AddressFamily af, std::map<std::uint64_t, std::uint32_t>& uses ) const {
    auto const pair = [&]( std::uint64_t src, std::uint64_t dst, ComboLabelSetType type ) {
      bool const combined = src != 0 && dst != 0 && capability_->comboEncodingAttrHas( type );
      for ( std::uint64_t const key : { src, dst } )
        if ( key != 0 ) uses[key] += combined ? 0 : 1;
    };
    pair( line.source, line.destination,
          af == Vell::AddressFamily::ipv4 ? ComboLabelSetType::ipv4SrcDstPrefix : ComboLabelSetType::ipv6SrcDstPrefix );
    pair( line.ranges[0], line.ranges[1], ComboLabelSetType::srcDstL4Port );
    for ( std::size_t i = 2; i != kRangeFieldCount; ++i )
      if ( line.ranges[i] != 0 ) ++uses[line.ranges[i]];
  }

  Kiv::Ptr<AclConfigColl const> policy_;
  Kiv::Ptr<ChipHwCapability const> capability_;
  std::map<IpPrefixList const*, std::uint64_t> identities_;
  std::uint64_t lastIdentity_ = 0;
  std::pair<std::uint32_t, std::uint32_t> fingerprint_ = {};  // 0, 0 is that of a policy without ACLs
  Keys keys_;                                                 // of the sets that there are, by what they stand for
};

}  // namespace Orvex::Test

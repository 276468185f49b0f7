#include "pipeline/Remedies.h"

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <tuple>
#include <utility>

#include "chip/SoftwareChip.h"
#include "pipeline/ProvedCompile.h"
#include "policy/AclConfigBuilder.h"

namespace Orvex::Host {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint64_t kWidestLabel = 16;
/// Of a table that the chip does not have; without a limit, one rule could make more pairs than there is memory for.
constexpr std::uint64_t kRoomToTry = 262'144;

/// A rule, or all rules that name a list.
struct Removal {
  std::string text;
  std::uint64_t size = 0;
  std::vector<std::pair<std::size_t, std::size_t>> rules;  // places of ACLs and rules
};

class RemedySearch {
 public:
  RemedySearch( LocatedPolicy const& located, ChipProfile const& profile, CompileResult const& failure,
                RemedyLimits const& limits )
      : located_( located ), profile_( profile ), failure_( failure ), limits_( limits ) {}

  Remedies run() {
    tryPlacements();
    tryCombinations();
    tryRangeTables();
    triesLeft_ = limits_.tries - limits_.tries / 2;
    tryRemovals();
    result_.time = std::chrono::duration_cast<std::chrono::milliseconds>( Clock::now() - start_ );
    return std::move( result_ );
  }

 private:
  struct Attempt {
    bool fits = false;
    CompileResult result;
  };

  /// None when there are no tries left, or no time.
  std::optional<Attempt> attempt( Policy const& policy, ChipProfile const& profile ) {
    auto const isLate = [this] { return Clock::now() - start_ >= limits_.time; };
    if ( triesLeft_ == 0 || isLate() ) {
      result_.isCutShort = true;
      return std::nullopt;
    }
    --triesLeft_;
    SoftwareChip chip( Brae::ChipId( 0 ), profile );
    CompileOptions options;
    options.cancelled = isLate;
    Attempt made{ false, compileProved( policy, chip, options, ProofMode::loadNothing ).compile };
    if ( made.result.outcome == CompileOutcome::cancelled ) {
      result_.isCutShort = true;
      return std::nullopt;
    }
    // What fits is refused for want of a proof alone.
    made.fits = made.result.outcome == CompileOutcome::refused && made.result.shortages.empty();
    return made;
  }

  void note( bool fits, std::string text ) {
    ( fits ? result_.enough : result_.notEnough ).push_back( std::move( text ) );
  }

  // The chip

  void tryPlacements() {
    for ( std::uint32_t number = 0; number != kLabelPlacementNames.size(); ++number ) {
      ChipProfile changed = profile_;
      changed.labelPlacement = static_cast<LabelPlacement>( number );
      if ( changed.labelPlacement == profile_.labelPlacement ) continue;
      auto const made = attempt( located_.policy, changed );
      if ( made ) note( made->fits, "with label placement " + std::string( kLabelPlacementNames[number] ) );
    }
  }

  void tryCombinations() {
    for ( ComboLabelSetType const type : kCombos ) {
      bool const isOfPorts = type == ComboLabelSetType::srcDstL4Port;
      if ( profile_.combo( type ).isOn() || !isUsed( type ) ||
           ( isOfPorts && !( profile_.ranges[Field::sport].isOn() && profile_.ranges[Field::dport].isOn() ) ) )
        continue;
      ChipProfile changed = profile_;
      changed.combo( type ) = { kWidestLabel, 0 };
      trySwitchOn( changed, Resource::comboEntries, std::string( Kiv::stringValue( type ) ) );
    }
  }

  void tryRangeTables() {
    for ( Field const field : kFields ) {
      if ( !isUsed( field ) ) continue;
      std::string const name = "the " + std::string( Kiv::stringValue( field ) ) + " table";
      ChipProfile changed = profile_;
      if ( !profile_.ranges[field].isOn() ) {
        changed.ranges[field] = { kWidestLabel, 0 };
        trySwitchOn( changed, Resource::rangeEntries, name );
        continue;
      }
      changed.ranges[field] = {};
      if ( field == Field::sport || field == Field::dport ) changed.combo( ComboLabelSetType::srcDstL4Port ) = {};
      if ( auto const made = attempt( located_.policy, changed ) ) note( made->fits, "with " + name + " off" );
    }
  }

  /// With much room, where the chip has none.
  void trySwitchOn( ChipProfile& changed, Resource resource, std::string const& table ) {
    bool const hasRoom = profile_.capacities[resource] != 0;
    if ( !hasRoom ) changed.capacities[resource] = kRoomToTry;
    auto const made = attempt( located_.policy, changed );
    if ( !made ) return;
    std::string text = "with " + table + " on (" + std::to_string( kWidestLabel ) + " bits";
    if ( made->fits && !hasRoom )
      text += "; it takes " + std::to_string( made->result.use[resource] ) + " " +
              std::string( Kiv::stringValue( resource ) ) + ", of which this chip has none";
    note( made->fits, text + ")" );
  }

  bool isUsed( ComboLabelSetType type ) const {
    return anyRule( [type]( Acl const& acl, Rule const& rule ) {
      if ( type == ComboLabelSetType::srcDstL4Port )
        return !rule.ranges[Field::sport].empty() && !rule.ranges[Field::dport].empty();
      auto const family =
          type == ComboLabelSetType::ipv4SrcDstPrefix ? Vell::AddressFamily::ipv4 : Vell::AddressFamily::ipv6;
      return acl.family == family && rule.source && rule.destination;
    } );
  }
  bool isUsed( Field field ) const {
    return anyRule( [field]( Acl const&, Rule const& rule ) { return !rule.ranges[field].empty(); } );
  }
  template <class Condition>
  bool anyRule( Condition const& condition ) const {
    auto const& acls = located_.policy.acls;
    return std::any_of( acls.begin(), acls.end(), [&]( Acl const& acl ) {
      return std::any_of( acl.rules.begin(), acl.rules.end(),
                          [&]( Rule const& rule ) { return condition( acl, rule ); } );
    } );
  }

  // The policy

  void tryRemovals() {
    std::vector<Removal> const removals = removalsBySize();
    if ( removals.empty() || !isEnough( removals.back() ).value_or( false ) ) return;
    std::size_t enough = removals.size() - 1;
    std::size_t from = 0;
    while ( from != enough ) {
      std::size_t const middle = from + ( enough - from ) / 2;
      auto const fits = isEnough( removals[middle] );
      if ( !fits ) break;
      ( *fits ? enough : from ) = *fits ? middle : middle + 1;
    }
    note( true, removals[enough].text );
  }

  std::optional<bool> isEnough( Removal const& removal ) {
    Policy less = located_.policy;
    for ( std::size_t left = removal.rules.size(); left != 0; --left ) {  // from the back, so that places stay right
      auto const& [acl, rule] = removal.rules[left - 1];
      auto& rules = less.acls[acl].rules;
      rules.erase( rules.begin() + static_cast<std::ptrdiff_t>( rule ) );
    }
    auto const made = attempt( less, profile_ );
    if ( !made ) return std::nullopt;
    if ( !made->fits ) note( false, removal.text );
    return made->fits;
  }

  LocatedPolicy const& located_;
  ChipProfile const& profile_;
  CompileResult const& failure_;
  RemedyLimits limits_;
  std::size_t triesLeft_ = limits_.tries / 2;
  Clock::time_point start_ = Clock::now();
  std::map<PrefixList const*, std::uint64_t> uses_ = usesOfLists();
  Remedies result_;

  /// From the smallest on, of those that free enough where that is known.
  std::vector<Removal> removalsBySize() const {
    Measure const by = measure();
    auto const sizes = by == Measure::entries ? entriesByRule() : EntriesByRule();
    std::vector<Removal> removals;
    std::map<PrefixList const*, Removal> byList;
    for ( std::size_t inPolicy = 0; inPolicy != located_.policy.acls.size(); ++inPolicy ) {
      Acl const& acl = located_.policy.acls[inPolicy];
      PDAclKey const key( acl.family, libraryAclName( acl.family, acl.name ) );
      for ( std::size_t inAcl = 0; inAcl != acl.rules.size(); ++inAcl ) {
        Rule const& rule = acl.rules[inAcl];
        auto const known = sizes.find( std::pair( key, rule.index ) );
        std::uint64_t const size = known == sizes.end() ? sizeOf( rule, by ) : known->second;
        removals.push_back( { "without " + ruleText( key, rule.index ), size, { { inPolicy, inAcl } } } );
        for ( PrefixList const* const list : listsOf( rule ) ) {
          Removal& ofList = byList[list];
          ofList.size = by == Measure::prefixes ? sizeOf( *list ) : ofList.size + size;
          ofList.rules.emplace_back( inPolicy, inAcl );
        }
      }
    }
    for ( auto& [list, removal] : byList ) {
      auto const named = located_.listNames.find( *list );
      if ( removal.rules.size() == 1 || named == located_.listNames.end() ) continue;
      removal.text = "without prefix list " + named->second + " and the " + std::to_string( removal.rules.size() ) +
                     " rules that name it";
      removals.push_back( std::move( removal ) );
    }
    std::sort( removals.begin(), removals.end(), []( Removal const& a, Removal const& b ) {
      auto const rank = []( Removal const& removal ) { return std::tuple( removal.size, removal.rules.size() ); };
      return rank( a ) != rank( b ) ? rank( a ) < rank( b ) : a.rules < b.rules;
    } );
    std::uint64_t const least = missingEntries();
    auto const firstLarge = std::find_if( removals.begin(), removals.end(),
                                          [least]( Removal const& removal ) { return removal.size >= least; } );
    if ( firstLarge != removals.end() ) removals.erase( removals.begin(), firstLarge );
    for ( Removal& removal : removals ) removal.text += sizeText( removal.size, by );
    return removals;
  }

  /// What ran out, in which rules are measured; "both" are prefixes and ranges.
  enum class Measure : std::uint32_t { entries, prefixes, ranges, both };

  /// " (1 entry)"
  static std::string sizeText( std::uint64_t size, Measure by ) {
    static constexpr std::array<std::array<char const*, 2>, 4> kUnits = {
        { { "entry", "entries" }, { "prefix", "prefixes" }, { "range", "ranges" }, { "part", "parts" } } };
    return " (" + std::to_string( size ) + " " + kUnits[Kiv::enumValue( by )][size == 1 ? 0 : 1] + ")";
  }

  Measure measure() const {
    if ( !failure_.shortages.empty() ) {
      Resource const resource = failure_.shortages.front().resource;
      if ( resource == Resource::ruleEntries ) return Measure::entries;
      if ( resource == Resource::rangeEntries ) return Measure::ranges;
      return resource == Resource::comboEntries ? Measure::both : Measure::prefixes;
    }
    switch ( failure_.stage ) {
      case OrvexActiveStage::stagePrefixXform:
      case OrvexActiveStage::stagePrefixEncoder:
        return Measure::prefixes;
      case OrvexActiveStage::stageRangeSplit:
      case OrvexActiveStage::stageRangeEncoder:
        return Measure::ranges;
      case OrvexActiveStage::stageRuleExpander:
        return Measure::entries;
      default:
        return Measure::both;
    }
  }

  using EntriesByRule = std::map<std::pair<PDAclKey, std::uint32_t>, std::uint64_t>;

  EntriesByRule entriesByRule() const {
    EntriesByRule sizes;
    for ( RuleUse const& use : failure_.rules )
      sizes.emplace( std::pair( use.acl, use.index ), failure_.snapshot ? use.entries : use.product );
    return sizes;
  }

  static std::uint64_t sizeOf( PrefixList const& list ) { return list.prefixes.size() + list.excepts.size(); }

  /// Of the lists those that no other rule has: the rows of a list are there once, however many rules name it.
  std::uint64_t sizeOf( Rule const& rule, Measure measure ) const {
    std::uint64_t size = 0;
    if ( measure != Measure::ranges )
      for ( PrefixList const* const list : listsOf( rule ) )
        if ( measure == Measure::both || uses_.at( list ) == 1 ) size += sizeOf( *list );
    if ( measure != Measure::prefixes )
      for ( Field const field : kFields ) size += rule.ranges[field].size();
    return size;
  }

  static std::set<PrefixList const*> listsOf( Rule const& rule ) {
    std::set<PrefixList const*> lists = { rule.source.get(), rule.destination.get() };
    lists.erase( nullptr );
    return lists;
  }

  std::map<PrefixList const*, std::uint64_t> usesOfLists() const {
    std::map<PrefixList const*, std::uint64_t> uses;
    for ( Acl const& acl : located_.policy.acls )
      for ( Rule const& rule : acl.rules )
        for ( PrefixList const* const list : listsOf( rule ) ) ++uses[list];
    return uses;
  }

  /// What has to go at least, where entries alone ran out.
  std::uint64_t missingEntries() const {
    if ( failure_.shortages.size() != 1 || failure_.shortages.front().resource != Resource::ruleEntries ) return 0;
    return failure_.shortages.front().needed - failure_.shortages.front().capacity;
  }
};

}  // namespace

bool isForWantOfRoom( CompileResult const& result ) { return !result.shortages.empty() || !result.costliest.empty(); }

Remedies remediesFor( LocatedPolicy const& located, ChipProfile const& profile, CompileResult const& failure,
                      RemedyLimits const& limits ) {
  return RemedySearch( located, profile, failure, limits ).run();
}

}  // namespace Orvex::Host

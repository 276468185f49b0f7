#include "formats/ClassbenchWriter.h"

#include <algorithm>
#include <bit>
#include <cstdio>

#include "formats/FormatLosses.h"
#include "policy/NumberNames.h"

namespace Orvex::Host {

namespace {

constexpr std::uint32_t kWholeMask = 0xFF;

struct MaskedNumber {
  std::uint32_t value = 0;
  std::uint32_t mask = 0;
};

std::string hex( std::uint32_t number, int digits ) {
  char buffer[16];
  int const length = std::snprintf( buffer, sizeof buffer, "0x%0*x", digits, number );
  return { buffer, static_cast<std::size_t>( length ) };
}

/// The whole mask has capitals in this format.
std::string protocolText( MaskedNumber protocols ) {
  return hex( protocols.value, 2 ) + "/" + ( protocols.mask == kWholeMask ? "0xFF" : hex( protocols.mask, 2 ) );
}

std::string flagsText( MaskedNumber flags ) { return hex( flags.value, 4 ) + "/" + hex( flags.mask, 4 ); }

std::string portsText( RangeSet const& ports ) {
  ValueRange const range = ports.empty() ? ValueRange{ 0, maximumOf( Field::dport ) } : ports.front();
  return std::to_string( range.first ) + " : " + std::to_string( range.last );
}

/// The protocols that agree in some of their bits; none when the set is no such set.
std::optional<MaskedNumber> maskedProtocols( RangeSet const& protocols ) {
  if ( protocols.empty() ) return MaskedNumber{};
  std::uint32_t common = kWholeMask;
  std::uint32_t united = 0;
  std::uint32_t count = 0;
  for ( ValueRange const range : protocols ) {
    for ( std::uint32_t value = range.first; value <= range.last; ++value ) {
      common &= value;
      united |= value;
      ++count;
    }
  }
  std::uint32_t const open = common ^ united;
  if ( count != 1U << static_cast<unsigned>( std::popcount( open ) ) ) return std::nullopt;
  return MaskedNumber{ common, kWholeMask & ~open };
}

/// What the reader has to be told that rules do.
struct Actions {
  bool permit = true;
  bool deny = true;
  bool alternate = true;

  void add( bool drops, std::size_t at ) {
    permit = permit && !drops;
    deny = deny && drops;
    alternate = alternate && drops == ( at % 2 != 0 );
  }
  bool canBeSaid() const { return permit || deny || alternate; }
};

class Writer {
 public:
  explicit Writer( LocatedPolicy const& located ) : located_( located ) {}

  std::optional<std::string> text( Diagnostics& diagnostics ) {
    for ( Acl const& acl : located_.policy.acls ) add( acl );
    if ( losses_.empty() ) {
      addNote( diagnostics );
      return std::move( text_ );
    }
    losses_.report( located_.places, diagnostics );
    return std::nullopt;
  }

 private:
  void add( Acl const& acl ) {
    acl_ = &acl;
    if ( &acl != &located_.policy.acls.front() ) losses_.add( "has one ACL in a file, and here are further ones", acl );
    Actions actions;
    for ( std::size_t at = 0; at != acl.rules.size(); ++at ) {
      actions.add( acl.rules[at].action.dropEnabled, at );
      add( acl.rules[at] );
    }
    if ( acl.defaultAction == DefaultAction::permit ) addLast( actions );
    if ( !actions.canBeSaid() )
      losses_.add( "has no actions: all rules have to permit, to deny, or to do both in turn", acl );
    actions_ = actions;
  }

  void addLast( Actions& actions ) {
    actions.add( false, acl_->rules.size() );
    std::string const any = acl_->family == Vell::AddressFamily::ipv4 ? "0.0.0.0/0" : "::/0";
    addLine( any, any, {}, {}, {}, {} );
  }

  void lose( std::string_view what ) { losses_.add( what, *acl_, *rule_ ); }

  void add( Rule const& rule ) {
    rule_ = &rule;
    auto const protocols = maskedProtocols( rule.ranges[Field::proto] );
    if ( !protocols ) lose( "has one protocol, or those that agree in some bits" );
    for ( Field const field : { Field::length, Field::fragment, Field::dscp, Field::ttl } )
      if ( !rule.ranges[field].empty() ) lose( "has neither lengths, fragment offsets, DSCP values nor TTLs" );
    if ( rule.ranges[Field::sport].size() > 1 || rule.ranges[Field::dport].size() > 1 )
      lose( "has one range of ports a side" );
    OrvexActionValue const& action = rule.action;
    if ( action.logEnabled || action.sflowEnabled || action.setDscpEnabled || action.setTcEnabled )
      lose( "has no actions, and these do more than permit or deny" );
    if ( rule.name != std::to_string( rule.index ) ) text_ += "# " + rule.name + "\n";
    addLine( prefixText( rule.source ), prefixText( rule.destination ), rule.ranges[Field::sport],
             rule.ranges[Field::dport], protocols.value_or( MaskedNumber{} ), flags() );
  }

  std::string prefixText( SharedPrefixList const& list ) {
    if ( !list ) return textOf( Vell::IpGenPrefix::defaultRoute( acl_->family ) );
    if ( list->prefixes.size() == 1 && list->excepts.empty() ) return textOf( list->prefixes.front() );
    lose( "has one source prefix and one destination prefix" );
    return "";
  }

  /// TCP's flags stand in the high byte, as ICMP's type does.
  MaskedNumber flags() {
    RangeSet const& protocols = rule_->ranges[Field::proto];
    RangeSet const& types = rule_->ranges[Field::icmpType];
    bool const isInit = rule_->tcpInit;
    if ( !isInit && !rule_->tcpEstablished && types.empty() ) return {};
    hasFlags_ = true;
    std::uint32_t const icmp = acl_->family == Vell::AddressFamily::ipv4 ? kIcmp : kIcmp6;
    bool const isIcmp = protocols == RangeSet{ { icmp, icmp } };
    bool const isTcp = protocols == RangeSet{ { kTcp, kTcp } };
    if ( types.empty() && isInit && isTcp ) return { 0x0200, 0x1200 };
    bool const isType = types.size() == 1 && types[0].first == types[0].last && isIcmp;
    if ( isType && !isInit && !rule_->tcpEstablished ) return { types[0].first << 8U, 0xFF00 };
    lose( "has of flags \"init\" of TCP and single ICMP types of the family's ICMP alone" );
    return {};
  }

  void addLine( std::string const& source, std::string const& destination, RangeSet const& sourcePorts,
                RangeSet const& destinationPorts, MaskedNumber protocols, MaskedNumber flags ) {
    text_ += "@" + source + "\t" + destination + "\t" + portsText( sourcePorts ) + "\t" +
             portsText( destinationPorts ) + "\t" + protocolText( protocols ) + "\t" + flagsText( flags ) + "\t\n";
  }

  void addNote( Diagnostics& diagnostics ) const {
    std::string options;
    if ( !actions_.permit ) options += actions_.deny ? " --classbench-action deny" : " --classbench-action alternate";
    if ( hasFlags_ ) options += " --classbench-flags honour";
    if ( !options.empty() ) diagnostics.note( {}, "this filter set is to be read with" + options );
  }

  LocatedPolicy const& located_;
  FormatLosses losses_{ "ClassBench" };
  std::string text_;
  Actions actions_;
  bool hasFlags_ = false;
  Acl const* acl_ = nullptr;
  Rule const* rule_ = nullptr;
};

}  // namespace

std::optional<std::string> classbenchText( LocatedPolicy const& located, Diagnostics& diagnostics ) {
  return Writer( located ).text( diagnostics );
}

}  // namespace Orvex::Host

/// A host: compiles versions of a policy for one chip, and prints what becomes of each and what the chip then holds. The
/// third does not fit, the fourth meets a chip that does not answer, and both leave the second in force.

#include <iostream>
#include <string_view>

#include "Brae/TimerWheel.h"
#include "Driver.h"
#include "Kiv/System.h"
#include "Orvex/OrvexRootSm.h"
#include "Vell/IpGenPrefix.h"

using namespace Orvex;

namespace {

constexpr Brae::ChipId kChip( 0 );
constexpr std::uint64_t kEntries = 5;

/// Prefixes have labels of four bits, destination ports of three; 0 is the label of what no rule names. Everything else is
/// matched as it is.
Kiv::Ptr<ChipHwCapability> makeCapability() {
  auto capability = Kiv::make<ChipHwCapability>( kChip );
  EncodedLabel const invalid( 0 );
  for ( bool const source : { true, false } )
    capability->prefixEncodingAttrIs( PrefixXformKey( Vell::AddressFamily::ipv4, source ), EncodingAttr( 4, invalid ) );
  capability->rangeEncodingAttrIs( RangeSetType::dstPort, EncodingAttr( 3, invalid ) );
  return capability;
}

class Host {
 public:
  /// Compiles a policy and sees it into the chip. Each version has entities and a pipeline of its own and is kicked once;
  /// the pipeline is gone before the next one is made.
  void load( Kiv::Ptr<AclConfigColl> const& policy ) {
    auto const snapshotBefore = pdConfig_->currPDData();
    auto const request = Kiv::make<RootConfig>( kChip );
    auto const progress = Kiv::make<RootStatus>( kChip );
    auto root = orvexRootSmFactory( kChip, capability_, request, progress, policy, parameters_, pdConfig_, pdStatus_ );
    request->orvexKickTimeIs( Kiv::System::currentTime() );
    runUntilNothingIsDue();
    std::cout << "  " << progress->kickProgress();
    if ( !progress->kickMessage().empty() ) std::cout << ": " << progress->kickMessage();
    std::cout << '\n';
    if ( progress->kickProgress() == OrvexProgress::orvexRunning ) giveUp( root, snapshotBefore );
  }

  Driver& driver() { return *driver_; }

 private:
  /// An agent does this whenever its loop wakes up, for a timer or for its driver.
  void runUntilNothingIsDue() {
    while ( wheel_->due() || driver_->serve() )
      while ( wheel_->due() ) wheel_->service();
  }

  /// What an agent's watchdog does when the driver has been silent for too long. Without a root nothing listens to the chip's
  /// entities, and what it began is taken back on both sides.
  void giveUp( Kiv::Ptr<OrvexRootSm>& root, Kiv::Ptr<PDData> const& snapshotBefore ) {
    root = nullptr;
    pdConfig_->globalAclControlIs( GlobalAclControl::doNotApply );
    driver_->requestsDelAll();
    pdConfig_->currPDDataIs( snapshotBefore );
    std::cout << "  given up: the driver is silent\n";
  }

  Kiv::Ptr<ChipHwCapability> capability_ = makeCapability();
  Kiv::Ptr<Brae::ParamConfig> parameters_ = Kiv::make<Brae::ParamConfig>();
  Kiv::Ptr<PDConfig> pdConfig_ = Kiv::make<PDConfig>( kChip );
  Kiv::Ptr<PDStatus> pdStatus_ = Kiv::make<PDStatus>( kChip );
  Kiv::Ptr<Driver> driver_ = Kiv::make<Driver>( capability_, pdConfig_, pdStatus_, kEntries );
  Kiv::Ptr<Brae::TimerWheel> wheel_ = Brae::TimerWheel::ofThisThread();
};

// The policy

RuleFilter& addRule( AclConfig& acl, std::uint32_t index, char const* name, bool drop ) {
  auto const rule = acl.ruleByNameIs( name );
  OrvexActionValue action;
  action.dropEnabled = drop;
  rule->actionIs( action );
  acl.ruleByIdIs( AceIndex( index ), rule );
  return *rule->ruleFilterIs();
}

Vell::IpGenPrefix prefix( std::string_view text ) { return Kiv::strepToValue<Vell::IpGenPrefix>( text ); }

/// web:   permit tcp from 10/8, without 10.1/16, to the ports
/// admin: permit from 10.1/16 to 192.0.2/24
/// rest:  deny
Kiv::Ptr<AclConfigColl> makePolicy( std::initializer_list<std::uint32_t> webPorts ) {
  auto policy = Kiv::make<AclConfigColl>( kChip );
  auto const edge = policy->aclIs( "edge" );
  RuleFilter& web = addRule( *edge, 10, "web", false );
  web.sourceIs()->addrIs( prefix( "10.0.0.0/8" ) );
  web.sourceIs()->exceptAddrIs( prefix( "10.1.0.0/16" ) );
  web.protoIs( { 6, 6 } );
  for ( std::uint32_t const port : webPorts ) web.dportRangeIs( { port, port } );
  RuleFilter& admin = addRule( *edge, 20, "admin", false );
  admin.sourceIs()->addrIs( prefix( "10.1.0.0/16" ) );
  admin.destinationIs()->addrIs( prefix( "192.0.2.0/24" ) );
  addRule( *edge, 30, "rest", true );
  return policy;
}

/// Lengths have no labels on this chip, so their range is cut into powers of two.
Kiv::Ptr<AclConfigColl> makeLargePolicy() {
  auto policy = makePolicy( { 80, 443 } );
  policy->aclIs( "edge" )->ruleByNameIs( "web" )->ruleFilterIs()->lengthIs( { 64, 1500 } );
  return policy;
}

// What the chip holds

void print( ChipTables const& tables ) {
  for ( auto const& [space, entries] : tables.prefixes )
    for ( auto const& [prefix, label] : entries )
      std::cout << "  " << ( space.src() ? "source " : "destination " ) << prefix << " -> " << label.value() << '\n';
  for ( auto const& [field, entries] : tables.ranges )
    for ( auto const& [range, label] : entries )
      std::cout << "  " << field << ' ' << range.first() << '-' << range.last() << " -> " << label.value() << '\n';
  for ( auto const& [acl, entries] : tables.acls )
    for ( ChipTables::Entry const& entry : entries ) {
      std::cout << "  " << acl.aclName << ' ' << entry.rule.value() << ':';
      auto const printField = [&entry]( auto const& field ) {
        EncodedLabelWithMask const match = entry.match.*field.getter;
        if ( match.mask.value() != 0 )
          std::cout << ' ' << field.name << ' ' << match.label.value() << '/' << match.mask.value();
      };
      std::apply( [&]( auto const&... fields ) { ( printField( fields ), ... ); }, PDAclFilter::fields() );
      std::cout << ( entry.action.dropEnabled ? " deny" : " permit" ) << '\n';
    }
}

}  // namespace

int main() {
  Host host;
  std::cout << "version 1: web is port 80\n";
  host.load( makePolicy( { 80 } ) );
  print( host.driver().tables() );
  std::cout << "version 2: web is ports 80 and 443\n";
  host.load( makePolicy( { 80, 443 } ) );
  print( host.driver().tables() );
  std::cout << "version 3: web is packets of 64 to 1500 bytes\n";
  host.load( makeLargePolicy() );
  std::cout << "  in force: " << host.driver().used() << " entries of version 2\n";
  std::cout << "version 4: web is port 80, and the chip does not answer\n";
  host.driver().chipAnswersIs( false );
  host.load( makePolicy( { 80 } ) );
  std::cout << "  in force: " << host.driver().used() << " entries of version 2\n";
  std::cout << "version 5: the same, and it answers\n";
  host.driver().chipAnswersIs( true );
  host.load( makePolicy( { 80 } ) );
}

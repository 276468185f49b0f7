#include "Driver.h"

#include <iostream>
#include <utility>

using namespace Orvex;

namespace {

/// Whether the compiler awaits no answer for this kind of label.
template <class Attributes>
bool isOff( Attributes const& attributes, typename Attributes::Key type ) {
  auto const attribute = attributes.find( type );
  return !attribute || attribute->width() == 0;
}

template <class Entries>
auto copyOf( Entries const& entries ) {
  std::vector<typename Entries::Value> copy;
  copy.reserve( entries.size() );
  for ( auto const& [key, entry] : entries ) copy.push_back( entry );
  return copy;
}

/// rule() ascends by AceIndex. A rule without filters has an action and no entry: it matches nothing.
std::vector<ChipTables::Entry> entriesOf( PDAclRuleColl const& acl ) {
  std::vector<ChipTables::Entry> entries;
  entries.reserve( acl.numFilters() );
  for ( auto const& [index, rule] : acl.rule() )
    for ( PDAclFilter const& filter : rule->filter() ) entries.push_back( { index, filter, rule->action() } );
  return entries;
}

}  // namespace

/// Of all attributes, a driver reacts to these two.
class Driver::KivPDConfig : public Kiv::Reactor<PDConfig::NotifieeConst, Driver> {
 public:
  using Reactor::Reactor;
  void onPdResourceConfig() override { owner()->handleRequest(); }
  void onGlobalAclControl() override { owner()->handlePolicy(); }
};

Driver::Driver( Kiv::Ptr<ChipHwCapability const> const& capability, Kiv::Ptr<PDConfig const> const& config,
                Kiv::Ptr<PDStatus> const& status, std::uint64_t capacity )
    : status_( status ), capacity_( capacity ), kivPDConfig_( Kiv::make<KivPDConfig>( this ) ) {
  listStatuses( *capability );
  kivPDConfig_->notifierIs( config );
  hasNotificationActiveIs( true );
}

Driver::~Driver() = default;

/// Those that are switched off come first and the IPv6 rules last: with the last answer that the compiler awaits it goes on,
/// and what came behind would pass for an answer to its next request.
void Driver::listStatuses( ChipHwCapability const& capability ) {
  std::vector<SetStatus> awaited;
  auto const add = [&]( bool off, SetStatus set ) { ( off ? statuses_ : awaited ).push_back( std::move( set ) ); };
  for ( std::uint32_t value = 0; value != Kiv::enumValue( ComboLabelSetType::comboLabelSetMax ); ++value ) {
    auto const type = static_cast<ComboLabelSetType>( value );
    add( isOff( capability.comboEncodingAttr(), type ),
         [this, type]( ResourceStatus const& answer ) { status_->comboEntryStatusIs( type, answer ); } );
  }
  for ( std::uint32_t value = 0; value != Kiv::enumValue( RangeSetType::rangeSetMax ); ++value ) {
    auto const type = static_cast<RangeSetType>( value );
    add( isOff( capability.rangeEncodingAttr(), type ),
         [this, type]( ResourceStatus const& answer ) { status_->rangeEntryStatusIs( type, answer ); } );
  }
  add( false, [this]( ResourceStatus const& answer ) { status_->pdTcpFlagsXformEntryStatusIs( answer ); } );
  for ( auto const family : { Vell::AddressFamily::ipv4, Vell::AddressFamily::ipv6 } )
    for ( bool const source : { true, false } ) {
      PrefixXformKey const space( family, source );
      status_->pdPrefixXformEntryStatusIs( space, {} );  // the member is there before the compiler looks for it
      add( false,
           [this, space]( ResourceStatus const& answer ) { status_->pdPrefixXformEntryStatusIs( space, answer ); } );
    }
  add( false, [this]( ResourceStatus const& answer ) { status_->pdAclRuleIpv4EntryStatusIs( answer ); } );
  add( false, [this]( ResourceStatus const& answer ) { status_->pdAclRuleIpv6EntryStatusIs( answer ); } );
  statuses_.insert( statuses_.end(), awaited.begin(), awaited.end() );
}

// Requests

/// The id is copied and not computed with: an answer with another one is no answer. One answer goes into every status.
void Driver::handleRequest() {
  queue_.emplace_back( [this, request = kivPDConfig_->notifier()->pdResourceConfig()] {
    ResourceStatus const result( request.requestId, answer( request.requestState ) );
    std::cout << "  driver: " << request.requestState << ": " << result.responseState << '\n';
    for ( SetStatus const& set : statuses_ ) set( result );
  } );
}

/// A real driver makes the chip permit or deny everything before it confirms.
void Driver::handlePolicy() {
  queue_.emplace_back( [this, policy = kivPDConfig_->notifier()->globalAclControl()] {
    std::cout << "  driver: global policy: " << policy << '\n';
    status_->globalAclControlIs( policy );
  } );
}

bool Driver::serve() {
  if ( queue_.empty() || !chipAnswers_ ) return false;
  auto const next = std::move( queue_.front() );
  queue_.pop_front();
  next();
  return true;
}

void Driver::requestsDelAll() {
  queue_.clear();
  reserved_ = 0;
  status_->globalAclControlIs( GlobalAclControl::doNotApply );
}

Driver::Answer Driver::answer( RequestState request ) {
  switch ( request ) {
    case RequestState::acquire:
      return acquire( *kivPDConfig_->notifier()->currPDData() );
    case RequestState::load:
      return load( *kivPDConfig_->notifier()->currPDData() );
    case RequestState::revert:
      break;
  }
  return revert();
}

/// Everything that can fail fails here: a failed load would end the process. A real driver reserves room for the label tables
/// too.
Driver::Answer Driver::acquire( PDData const& snapshot ) {
  reserved_ = snapshot.pdAclColl()->numFilters();
  if ( reserved_ > capacity_ ) return Answer::failed;
  return used_ + reserved_ <= capacity_ ? Answer::hitless : Answer::hitful;
}

/// Builds the whole copy before it touches what is in force.
Driver::Answer Driver::load( PDData const& snapshot ) {
  ChipTables tables;
  auto const& prefixes = snapshot.pdPrefixXformEntryColl();
  for ( auto space = prefixes.begin(); space; ++space ) tables.prefixes[space.key()] = copyOf( space.value()->entry() );
  for ( std::uint32_t value = 0; value != Kiv::enumValue( RangeSetType::rangeSetMax ); ++value ) {
    auto const type = static_cast<RangeSetType>( value );
    tables.ranges[type] = copyOf( snapshot.rangeEntryColl( type )->entry() );
  }
  for ( std::uint32_t value = 0; value != Kiv::enumValue( ComboLabelSetType::comboLabelSetMax ); ++value ) {
    auto const type = static_cast<ComboLabelSetType>( value );
    tables.combos[type] = copyOf( snapshot.comboEntryColl( type )->entry() );
  }
  auto const& acls = snapshot.pdAclColl()->pdAcl();
  for ( auto acl = acls.begin(); acl; ++acl ) tables.acls[acl.key()] = entriesOf( *acl.value() );

  tables_ = std::move( tables );
  used_ = std::exchange( reserved_, 0 );
  return Answer::loaded;
}

Driver::Answer Driver::revert() {
  reserved_ = 0;
  return Answer::reverted;
}

#include "chip/SoftwareChip.h"

#include <algorithm>
#include <utility>

namespace Orvex::Host {

class SoftwareChip::KivPDConfig : public PDConfig::NotifieeConst {
 public:
  explicit KivPDConfig( SoftwareChip& chip ) : chip_( chip ) {}
  void onPdResourceConfig() override { chip_.requests_.emplace_back( notifier()->pdResourceConfig() ); }
  void onGlobalAclControl() override { chip_.requests_.emplace_back( notifier()->globalAclControl() ); }

 private:
  SoftwareChip& chip_;
};

SoftwareChip::SoftwareChip( Brae::ChipId chipId, ChipProfile profile )
    : profile_( std::move( profile ) ),
      shape_( shapeOf( profile_ ) ),
      hwCapability_( capabilityOf( profile_, chipId ) ),
      pdConfig_( Kiv::make<PDConfig>( chipId ) ),
      pdStatus_( Kiv::make<PDStatus>( chipId ) ),
      kivPDConfig_( Kiv::make<KivPDConfig>( *this ) ) {
  for ( PrefixXformKey const space : kPrefixSpaces ) pdStatus_->pdPrefixXformEntryStatusIs( space, {} );
  kivPDConfig_->notifierIs( pdConfig_ );
  kivPDConfig_->hasNotificationActiveIs( true );
}

SoftwareChip::~SoftwareChip() { kivPDConfig_->notifierIs( nullptr ); }

// Requests

bool SoftwareChip::serve() {
  if ( requests_.empty() ) return false;
  Request const request = requests_.front();
  requests_.pop_front();
  if ( auto const* const resources = std::get_if<ResourceConfig>( &request ) )
    serveResources( *resources );
  else
    servePolicy( std::get<GlobalAclControl>( request ) );
  return true;
}

void SoftwareChip::serveResources( ResourceConfig const& request ) {
  switch ( request.requestState ) {
    case RequestState::acquire:
      return answer( { request.requestId, acquire( request.requestId ) } );
    case RequestState::load:
      if ( !reservation_ || reservation_->requestId != request.requestId ||
           reservation_->snapshot != pdConfig_->currPDData() )
        return;
      load();
      return answer( { request.requestId, ResponseState::loaded } );
    case RequestState::revert:
      reservationDel();
      return answer( { request.requestId, ResponseState::reverted } );
  }
}

void SoftwareChip::servePolicy( GlobalAclControl policy ) {
  policyInForce_ = policy;
  pdStatus_->globalAclControlIs( policy );
}

void SoftwareChip::requestsDelAll() {
  requests_.clear();
  reservationDel();
  servePolicy( GlobalAclControl::doNotApply );
}

ResponseState SoftwareChip::acquire( double requestId ) {
  reservation_.reset();
  Kiv::Ptr<PDData const> const snapshot = pdConfig_->currPDData();
  refusal_ = refusalOf( snapshot );
  if ( refusal_ ) return ResponseState::failed;
  reservation_ = Reservation{ requestId, snapshot };
  return fitsBesideTableInForce( *snapshot ) ? ResponseState::hitless : ResponseState::hitful;
}

std::optional<Refusal> SoftwareChip::refusalOf( Kiv::Ptr<PDData const> const& snapshot ) const {
  if ( !snapshot ) return Refusal{ "there is no snapshot", {} };
  if ( !version_ ) return Refusal{ "no version has been announced", {} };
  if ( auto shortages = shortagesOf( profile_, *snapshot ); !shortages.empty() ) {
    std::string reason = "does not fit chip " + profile_.name;
    for ( Shortage const& shortage : shortages ) reason += "; " + textOf( shortage );
    return Refusal{ std::move( reason ), std::move( shortages ) };
  }
  if ( !version_->objection ) return std::nullopt;
  auto objection = version_->objection( *snapshot );
  return objection ? std::optional( Refusal{ *std::move( objection ), {} } ) : std::nullopt;
}

bool SoftwareChip::fitsBesideTableInForce( PDData const& snapshot ) const {
  PerResource const needed = useOf( snapshot, shape_ );
  return std::all_of( kResources.begin(), kResources.end(), [&]( Resource resource ) {
    return needed[resource] <= profile_.capacities[resource] - use_[resource];
  } );
}

void SoftwareChip::load() {
  table_ = std::make_unique<ChipTable>( *reservation_->snapshot, shape_, version_->defaults );
  use_ = useOf( *reservation_->snapshot, shape_ );
  loadedRequest_ = reservation_->requestId;
  reservationDel();
}

void SoftwareChip::reservationDel() {
  reservation_.reset();
  version_.reset();
}

// Answers

void SoftwareChip::answer( ResourceStatus const& answer ) {
  answerLabelTables( answer, false );
  pdStatus_->pdTcpFlagsXformEntryStatusIs( answer );
  answerLabelTables( answer, true );
  for ( PrefixXformKey const space : kPrefixSpaces ) pdStatus_->pdPrefixXformEntryStatusIs( space, answer );
  pdStatus_->pdAclRuleIpv4EntryStatusIs( answer );
  pdStatus_->pdAclRuleIpv6EntryStatusIs( answer );
}

/// Of fields and combinations, those that are on or those that are off.
void SoftwareChip::answerLabelTables( ResourceStatus const& answer, bool on ) {
  for ( ComboLabelSetType const type : kCombos )
    if ( shape_.combo( type ).on == on ) pdStatus_->comboEntryStatusIs( type, answer );
  for ( Field const field : kFields )
    if ( shape_.ranges[field].on == on ) pdStatus_->rangeEntryStatusIs( rangeTableOf( field ), answer );
}

// Packets

Verify::Verdict SoftwareChip::lookUp( PDAclKey const& acl, Verify::Packet const& packet ) const {
  Verify::familyOf( packet );
  if ( table_ && policyInForce_ == GlobalAclControl::permitAll )
    return { std::nullopt, actionOf( DefaultAction::permit ) };
  ChipTable::Acl* const loaded = table_ ? table_->acl( acl ) : nullptr;
  if ( !loaded || policyInForce_ != GlobalAclControl::doNotApply )
    return { std::nullopt, actionOf( DefaultAction::deny ) };
  return table_->lookUp( *loaded, packet );
}

}  // namespace Orvex::Host

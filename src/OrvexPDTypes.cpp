#include "Orvex/OrvexPDTypes.h"

#include "Kiv/Instantiate.h"

namespace Orvex {

Kiv::Ptr<PDAclRule> PDAclRuleColl::ruleIs( AceIndex index ) { return Kiv::instantiate( rule_, index ); }

std::uint64_t PDAclRuleColl::numFilters() const {
  std::uint64_t filters = 0;
  for ( auto const& [index, rule] : rule_ ) filters += rule->filter().size();
  return filters;
}

Kiv::Ptr<PDAclRuleColl> PDAclColl::pdAclIs( PDAclKey const& key ) { return Kiv::instantiate( pdAcl_, key ); }

std::uint64_t PDAclColl::numFilters() const {
  std::uint64_t filters = 0;
  for ( auto acl = pdAcl_.begin(); acl; ++acl ) filters += acl.value()->numFilters();
  return filters;
}

PDData::PDData() : pdTcpFlagsXformEntryColl_( Kiv::make<PDRangeXformEntryColl>() ) {
  for ( auto& coll : comboEntryColls_ ) coll = Kiv::make<PDComboEntryColl>();
  for ( auto& coll : rangeEntryColls_ ) coll = Kiv::make<PDRangeXformEntryColl>();
}

Kiv::Ptr<PDPrefixXformEntryColl> PDData::pdPrefixXformEntryCollIs( PrefixXformKey key ) {
  return Kiv::instantiate( pdPrefixXformEntryColl_, key );
}

void PDStatus::comboEntryStatusIs( ComboLabelSetType type, ResourceStatus const& answer ) {
  ResourceStatus& stored = comboEntryStatus_[Kiv::enumValue( type )];
  if ( stored == answer ) return;
  stored = answer;
  notify( &NotifieeConst::onComboEntryStatus, type );
}

void PDStatus::rangeEntryStatusIs( RangeSetType type, ResourceStatus const& answer ) {
  ResourceStatus& stored = rangeEntryStatus_[Kiv::enumValue( type )];
  if ( stored == answer ) return;
  stored = answer;
  notify( &NotifieeConst::onRangeEntryStatus, type );
}

Kiv::Ptr<PDConfig> GlobalPDConfig::pdConfigIs( Brae::ChipId chipId ) { return Kiv::instantiate( pdConfig_, chipId ); }

Kiv::Ptr<PDStatus> GlobalPDStatus::pdStatusIs( Brae::ChipId chipId ) { return Kiv::instantiate( pdStatus_, chipId ); }

}  // namespace Orvex

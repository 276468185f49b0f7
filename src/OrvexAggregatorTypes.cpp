#include "Orvex/OrvexAggregatorTypes.h"

#include "Kiv/Instantiate.h"

namespace Orvex {

Kiv::Ptr<PrefixSet> PrefixAggregatorInfo::prefixSetCollIs( GenSetKey key ) {
  return Kiv::instantiate( prefixSetColl_, key );
}

Kiv::Ptr<RangeSet> RangeSplitAggregatorInfo::rangeSetCollIs( GenSetKey key, RangeSetType type ) {
  return Kiv::instantiate( rangeSetColl_, key, type );
}

Kiv::Ptr<GenSetIpRule> AclGenSetIpRuleList::genSetIpRuleIs( Kiv::String const& name ) {
  return Kiv::instantiate( genSetIpRule_, name );
}

Kiv::Ptr<GenSetIpRule> AclGenSetIpRuleList::genSetIpRuleByIdIs( AceIndex index, Kiv::Ptr<GenSetIpRule> const& rule ) {
  genSetIpRuleById_.set( index, rule );
  return rule;
}

Kiv::Ptr<PrefixAggregatorInfo> AggregatorStatus::prefixInfoIs( PrefixXformKey key ) {
  return Kiv::instantiate( prefixInfo_, key );
}

Kiv::Ptr<RangeSplitAggregatorInfo> AggregatorStatus::rangeSplitInfoIs( RangeSetType type ) {
  return Kiv::instantiate( rangeSplitInfo_, type );
}

Kiv::Ptr<AclGenSetIpRuleList> AggregatorStatus::aclGenSetIpRuleListIs( Kiv::String const& name ) {
  return Kiv::instantiate( aclGenSetIpRuleList_, name );
}

Kiv::Ptr<GenSetUsageInfo> const& AggregatorStatus::genSetUsageInfoIs() {
  if ( !genSetUsageInfo_ ) genSetUsageInfo_ = Kiv::make<GenSetUsageInfo>();
  return genSetUsageInfo_;
}

void AggregatorStatus::handleInitialized() {
  genSetUsageInfoIs();
  initialized_ = true;
}

}  // namespace Orvex

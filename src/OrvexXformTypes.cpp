#include "Orvex/OrvexXformTypes.h"

#include "Kiv/Instantiate.h"
#include "Kiv/Trace.h"

namespace Orvex {

namespace {

Kiv::TraceHandle traceHandle( "OrvexXformTypes" );

}  // namespace

Kiv::Ptr<ComboLabelSet> ComboLabelInfo::comboLabelSetCollIs( GenSetKey key, ComboLabelSetType type ) {
  return Kiv::instantiate( comboLabelSetColl_, key, type );
}

XformStatus::XformStatus() : plainLabelListMap_( Kiv::make<PlainLabelListMap>() ) {
  traceHandle.trace( 8, "XformStatus::handleInitialized" );
}

ComboLabelResolverStatus::ComboLabelResolverStatus( ComboLabelSetType setType )
    : comboLabelInfo_( Kiv::make<ComboLabelInfo>( setType ) ), genSetUsageInfo_( Kiv::make<GenSetUsageInfo>() ) {}

}  // namespace Orvex

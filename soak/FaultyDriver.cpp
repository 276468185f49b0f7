#include "FaultyDriver.h"

#include <algorithm>

namespace Orvex::Soak {

namespace {

constexpr std::size_t kFirstRange = Verify::TableShape::kCombos;
constexpr std::size_t kTcpFlags = kFirstRange + Host::kFieldCount;
constexpr std::size_t kFirstPrefix = kTcpFlags + 1;
constexpr std::size_t kIpv4Rules = kFirstPrefix + Host::kPrefixSpaces.size();
constexpr std::size_t kIpv6Rules = kIpv4Rules + 1;
static_assert( kIpv6Rules + 1 == FaultyDriver::kStatuses );

std::string nameOf( std::size_t status ) {
  if ( status == FaultyDriver::kEveryStatus ) return "every status";
  if ( status < kFirstRange ) return std::string( Kiv::stringValue( Host::kCombos.at( status ) ) );
  if ( status < kTcpFlags ) return std::string( Kiv::stringValue( Host::kFields.at( status - kFirstRange ) ) );
  if ( status == kTcpFlags ) return "tcpFlags";
  if ( status >= kIpv4Rules ) return status == kIpv4Rules ? "rules of ipv4" : "rules of ipv6";
  PrefixXformKey const space = Host::kPrefixSpaces.at( status - kFirstPrefix );
  return std::string( space.af() == Vell::AddressFamily::ipv4 ? "ipv4" : "ipv6" ) +
         ( space.src() ? " source" : " destination" );
}

/// Those that say something else; only the first five are for resources.
std::optional<ResponseState> responseOf( DriverFault fault ) {
  switch ( fault ) {
    case DriverFault::saysHitless:
      return ResponseState::hitless;
    case DriverFault::saysHitful:
      return ResponseState::hitful;
    case DriverFault::saysLoaded:
      return ResponseState::loaded;
    case DriverFault::saysFailed:
      return ResponseState::failed;
    case DriverFault::saysReverted:
      return ResponseState::reverted;
    default:
      return std::nullopt;
  }
}

GlobalAclControl confirmationOf( GlobalAclControl policy, DriverFault const* fault ) {
  if ( !fault ) return policy;
  switch ( *fault ) {
    case DriverFault::saysDoNotApply:
      return GlobalAclControl::doNotApply;
    case DriverFault::saysDenyAll:
      return GlobalAclControl::denyAll;
    case DriverFault::saysPermitAll:
      return GlobalAclControl::permitAll;
    default:
      return policy;
  }
}

DriverRequest requestOf( RequestState state ) { return static_cast<DriverRequest>( state ); }

/// Of a driver that answers before it has asked: what it hopes.
ResponseState hopeOf( RequestState request ) {
  if ( request == RequestState::acquire ) return ResponseState::hitless;
  return request == RequestState::load ? ResponseState::loaded : ResponseState::reverted;
}

}  // namespace

std::string textOf( AnswerFault const& fault ) {
  bool const isPolicy = fault.request >= DriverRequest::policyOn;
  return "kick " + std::to_string( fault.kick ) + ", " + std::string( Kiv::stringValue( fault.request ) ) +
         ( isPolicy ? "" : " of " + nameOf( fault.status ) ) + " " + std::string( Kiv::stringValue( fault.fault ) );
}

class FaultyDriver::KivPDConfig : public PDConfig::NotifieeConst {
 public:
  explicit KivPDConfig( FaultyDriver& driver ) : driver_( driver ) {}
  void onPdResourceConfig() override { driver_.handleRequest(); }
  void onGlobalAclControl() override { driver_.handlePolicy(); }

 private:
  FaultyDriver& driver_;
};

/// Collects the chip's answers. Confirmations of policies need none: they are what was asked.
class FaultyDriver::KivChipStatus : public PDStatus::NotifieeConst {
 public:
  explicit KivChipStatus( FaultyDriver& driver ) : driver_( driver ) {}
  void onComboEntryStatus( ComboLabelSetType type ) override {
    add( Kiv::enumValue( type ), notifier()->comboEntryStatus( type ) );
  }
  void onRangeEntryStatus( RangeSetType type ) override {
    add( kFirstRange + Kiv::enumValue( type ), notifier()->rangeEntryStatus( type ) );
  }
  void onPdTcpFlagsXformEntryStatus() override { add( kTcpFlags, notifier()->pdTcpFlagsXformEntryStatus() ); }
  void onPdPrefixXformEntryStatus( PrefixXformKey key ) override {
    auto const place = std::find( Host::kPrefixSpaces.begin(), Host::kPrefixSpaces.end(), key );
    auto const answer = notifier()->pdPrefixXformEntryStatus().find( key );
    if ( answer ) add( kFirstPrefix + static_cast<std::size_t>( place - Host::kPrefixSpaces.begin() ), *answer );
  }
  void onPdAclRuleIpv4EntryStatus() override { add( kIpv4Rules, notifier()->pdAclRuleIpv4EntryStatus() ); }
  void onPdAclRuleIpv6EntryStatus() override { add( kIpv6Rules, notifier()->pdAclRuleIpv6EntryStatus() ); }

 private:
  void add( std::size_t status, ResourceStatus const& answer ) { driver_.answers_.emplace_back( status, answer ); }

  FaultyDriver& driver_;
};

FaultyDriver::FaultyDriver( Host::SoftwareChip& chip )
    : chip_( chip ),
      pdConfig_( Kiv::make<PDConfig>( chip.pdConfig()->chipId() ) ),
      pdStatus_( Kiv::make<PDStatus>( chip.pdConfig()->chipId() ) ),
      kivPDConfig_( Kiv::make<KivPDConfig>( *this ) ),
      kivChipStatus_( Kiv::make<KivChipStatus>( *this ) ) {
  for ( PrefixXformKey const space : Host::kPrefixSpaces ) pdStatus_->pdPrefixXformEntryStatusIs( space, {} );
  kivPDConfig_->notifierIs( pdConfig_ );
  kivPDConfig_->hasNotificationActiveIs( true );
  kivChipStatus_->notifierIs( chip.pdStatus() );
  kivChipStatus_->hasNotificationActiveIs( true );
}

FaultyDriver::~FaultyDriver() {
  kivPDConfig_->notifierIs( nullptr );
  kivChipStatus_->notifierIs( nullptr );
}

void FaultyDriver::faultsAre( std::vector<AnswerFault> faults ) {
  faults_ = std::move( faults );
  kicks_ = 0;
}

void FaultyDriver::versionIs( Host::ChipVersion version ) {
  ++kicks_;
  olderId_ = requestId_;
  queue_.insert( queue_.end(), nextKick_.begin(), nextKick_.end() );
  nextKick_.clear();
  chip_.versionIs( std::move( version ) );
}

bool FaultyDriver::serve() {
  if ( queue_.empty() ) return false;
  Step const step = std::move( queue_.front() );
  queue_.pop_front();
  step();
  return true;
}

void FaultyDriver::requestsDelAll() {
  queue_.clear();
  repeats_.clear();
  chip_.pdConfig()->globalAclControlIs( GlobalAclControl::doNotApply );
  chip_.requestsDelAll();
  pdStatus_->globalAclControlIs( GlobalAclControl::doNotApply );
}

// Requests

void FaultyDriver::handleRequest() {
  ResourceConfig const request = pdConfig_->pdResourceConfig();
  requestId_ = request.requestId;
  queue_.emplace_back( [this, request] { relay( request ); } );
  for ( std::size_t status = 0; status != kStatuses; ++status ) {
    DriverFault const* const fault = faultOf( requestOf( request.requestState ), status );
    if ( fault && *fault == DriverFault::comesEarly )
      stepOf( status, { request.requestId, hopeOf( request.requestState ) } )();
  }
}

void FaultyDriver::handlePolicy() {
  queue_.emplace_back( [this, policy = pdConfig_->globalAclControl()] { relay( policy ); } );
}

void FaultyDriver::relay( ResourceConfig const& request ) {
  DriverRequest const kind = requestOf( request.requestState );
  auto repeats = std::exchange( repeats_, {} );
  DriverFault const* const ofFirst = faultOf( kind, 0 );
  if ( !ofFirst || *ofFirst != DriverFault::requestIsLost ) {
    answers_.clear();
    chip_.pdConfig()->currPDDataIs( pdConfig_->currPDData() );
    chip_.pdConfig()->pdResourceConfigIs( request );
    chip_.serve();
    for ( auto const& [status, answer] : answers_ ) enqueue( status, answer, faultOf( kind, status ) );
  }
  enterRepeats( std::move( repeats ) );
}

void FaultyDriver::relay( GlobalAclControl policy ) {
  auto repeats = std::exchange( repeats_, {} );
  bool const isOn = policy != GlobalAclControl::doNotApply;
  DriverFault const* const fault = faultOf( isOn ? DriverRequest::policyOn : DriverRequest::policyOff, 0 );
  if ( !fault || *fault != DriverFault::requestIsLost ) {
    chip_.pdConfig()->globalAclControlIs( policy );
    chip_.serve();
    GlobalAclControl const confirmation = confirmationOf( policy, fault );
    enqueue( [this, confirmation] { pdStatus_->globalAclControlIs( confirmation ); }, fault );
  }
  enterRepeats( std::move( repeats ) );
}

DriverFault const* FaultyDriver::faultOf( DriverRequest request, std::size_t status ) const {
  auto const fault = std::find_if( faults_.begin(), faults_.end(), [&]( AnswerFault const& each ) {
    bool const isForStatus = request >= DriverRequest::policyOn || each.status == status || each.status == kEveryStatus;
    return each.kick + 1 == kicks_ && each.request == request && isForStatus;
  } );
  return fault == faults_.end() ? nullptr : &fault->fault;
}

// Answers

void FaultyDriver::enqueue( std::size_t status, ResourceStatus answer, DriverFault const* fault ) {
  if ( fault ) {
    if ( *fault == DriverFault::comesEarly ) return;
    answer.responseState = responseOf( *fault ).value_or( answer.responseState );
    if ( *fault == DriverFault::hasAnOlderId ) answer.responseId = olderId_;
    if ( *fault == DriverFault::hasANewerId ) answer.responseId += 1;
  }
  enqueue( stepOf( status, answer ), fault );
}

void FaultyDriver::enqueue( Step const& step, DriverFault const* fault ) {
  DriverFault const how = fault ? *fault : DriverFault::saysHitless;
  if ( how == DriverFault::isSilent ) return;
  if ( how == DriverFault::comesLast ) return last_.push_back( step );
  if ( how == DriverFault::comesNextKick ) return nextKick_.push_back( step );
  queue_.push_back( step );
  if ( how == DriverFault::isTwice ) queue_.push_back( step );
  if ( how == DriverFault::isRepeated ) repeats_.push_back( step );
}

FaultyDriver::Step FaultyDriver::stepOf( std::size_t status, ResourceStatus const& answer ) {
  return [this, status, answer] {
    if ( status < kFirstRange ) return pdStatus_->comboEntryStatusIs( Host::kCombos.at( status ), answer );
    if ( status < kTcpFlags )
      return pdStatus_->rangeEntryStatusIs( rangeTableOf( Host::kFields.at( status - kFirstRange ) ), answer );
    if ( status == kTcpFlags ) return pdStatus_->pdTcpFlagsXformEntryStatusIs( answer );
    if ( status == kIpv4Rules ) return pdStatus_->pdAclRuleIpv4EntryStatusIs( answer );
    if ( status == kIpv6Rules ) return pdStatus_->pdAclRuleIpv6EntryStatusIs( answer );
    pdStatus_->pdPrefixXformEntryStatusIs( Host::kPrefixSpaces.at( status - kFirstPrefix ), answer );
  };
}

/// What comes last among the answers, and behind it what belongs to the request before.
void FaultyDriver::enterRepeats( std::deque<Step> repeats ) {
  queue_.insert( queue_.end(), last_.begin(), last_.end() );
  last_.clear();
  queue_.insert( queue_.end(), repeats.begin(), repeats.end() );
}

}  // namespace Orvex::Soak

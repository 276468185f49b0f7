#pragma once

/// A driver layer in the shape of its chip: it answers from a queue and honours its contract, but for the faults that a test
/// gives it.

#include <algorithm>
#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Orvex/OrvexPDTypes.h"

namespace Orvex::Test {

/// How a driver deals with one status of one request. "Late" is after all other statuses, "at once" inside the notification
/// that brought the request. A changed answer is an answer, and late another one.
enum class Behaviour : std::uint32_t {
  answers,
  isSilent,
  repeatsAnOlderId,
  answersTwice,
  answersLate,
  answersAtOnce,
  changesItsAnswer,
  saysHitless,
  saysHitful,
  saysLoaded,
  saysFailed,
  saysReverted
};

inline constexpr std::array<std::string_view, 12> kBehaviourNames = {
    "answers",          "isSilent",    "repeatsAnOlderId", "answersTwice", "answersLate", "answersAtOnce",
    "changesItsAnswer", "saysHitless", "saysHitful",       "saysLoaded",   "saysFailed",  "saysReverted" };
static_assert( kBehaviourNames.size() == Kiv::enumValue( Behaviour::saysReverted ) + 1 );
constexpr std::span<std::string_view const> enumNames( Behaviour ) { return kBehaviourNames; }

inline constexpr std::array<RequestState, 3> kRequests = { RequestState::acquire, RequestState::load,
                                                           RequestState::revert };

struct Fault {
  RequestState request = RequestState::acquire;
  std::size_t status = 0;
  Behaviour behaviour = Behaviour::answers;
};

class TestDriver {
 public:
  /// Combinations, ranges, TCP flags, prefixes, rules of IPv4, rules of IPv6: those that can be switched off first.
  static constexpr std::size_t kStatuses = 18;
  static constexpr std::size_t kTcpFlags = 11;

  TestDriver( Kiv::Ptr<PDConfig> const& config, Kiv::Ptr<PDStatus> const& status )
      : config_( config ), status_( status ), reactor_( Kiv::make<Reactor>() ) {
    for ( std::uint32_t type = 0; type != Kiv::enumValue( ComboLabelSetType::comboLabelSetMax ); ++type )
      add( [this, type]( auto const& answer ) {
        status_->comboEntryStatusIs( static_cast<ComboLabelSetType>( type ), answer );
      } );
    for ( std::uint32_t type = 0; type != Kiv::enumValue( RangeSetType::rangeSetMax ); ++type )
      add( [this, type]( auto const& answer ) {
        status_->rangeEntryStatusIs( static_cast<RangeSetType>( type ), answer );
      } );
    add( [this]( auto const& answer ) { status_->pdTcpFlagsXformEntryStatusIs( answer ); } );
    for ( auto const af : { Vell::AddressFamily::ipv4, Vell::AddressFamily::ipv6 } )
      for ( bool const src : { true, false } ) {
        PrefixXformKey const key( af, src );
        status_->pdPrefixXformEntryStatusIs( key, {} );
        add( [this, key]( auto const& answer ) { status_->pdPrefixXformEntryStatusIs( key, answer ); } );
      }
    add( [this]( auto const& answer ) { status_->pdAclRuleIpv4EntryStatusIs( answer ); } );
    add( [this]( auto const& answer ) { status_->pdAclRuleIpv6EntryStatusIs( answer ); } );
    reactor_->driver = this;
    reactor_->notifierIs( config );
    reactor_->hasNotificationActiveIs( true );
  }
  TestDriver( TestDriver const& ) = delete;
  TestDriver& operator=( TestDriver const& ) = delete;

  ResponseState toAcquire = ResponseState::hitless;
  std::vector<Fault> faults;
  /// Requests and policies, in the order in which they came.
  std::vector<std::string> log;

  /// What the chip does.
  Kiv::Ptr<PDData> loaded;
  GlobalAclControl policy = GlobalAclControl::doNotApply;

  /// Takes the next step. False when there was nothing to do.
  bool answer() {
    if ( queue_.empty() ) return false;
    auto const next = std::move( queue_.front() );
    queue_.pop_front();
    next();
    return true;
  }
  void run() {
    while ( answer() ) continue;
  }

 private:
  class Reactor : public PDConfig::NotifieeConst {
   public:
    void onPdResourceConfig() override { driver->handleRequest(); }
    void onGlobalAclControl() override { driver->handlePolicy(); }
    TestDriver* driver = nullptr;
  };

  void add( std::function<void( ResourceStatus const& )> setter ) { setters_.push_back( std::move( setter ) ); }

  Behaviour behaviour( RequestState request, std::size_t status ) const {
    auto const fault = std::find_if( faults.begin(), faults.end(), [=]( Fault const& each ) {
      return each.request == request && each.status == status;
    } );
    return fault == faults.end() ? Behaviour::answers : fault->behaviour;
  }
  ResponseState usualAnswer( RequestState request ) const {
    if ( request == RequestState::acquire ) return toAcquire;
    return request == RequestState::load ? ResponseState::loaded : ResponseState::reverted;
  }
  static ResponseState otherAnswer( ResponseState state ) {
    if ( state == ResponseState::hitless ) return ResponseState::hitful;
    return state == ResponseState::hitful ? ResponseState::hitless : ResponseState::failed;
  }

  void handleRequest() {
    ResourceConfig const request = config_->pdResourceConfig();
    log.emplace_back( Kiv::stringValue( request.requestState ) );
    if ( request.requestState == RequestState::load ) queue_.emplace_back( [this] { loaded = config_->currPDData(); } );
    for ( std::size_t status = 0; status != setters_.size(); ++status )
      answer( status, request.requestId, usualAnswer( request.requestState ),
              behaviour( request.requestState, status ) );
    while ( !late_.empty() ) {
      queue_.push_back( std::move( late_.front() ) );
      late_.pop_front();
    }
  }
  void answer( std::size_t status, double id, ResponseState state, Behaviour behaviour ) {
    auto const step = [&]( double responseId, ResponseState answer ) {
      return [this, status, responseId, answer] { setters_[status]( { responseId, answer } ); };
    };
    if ( behaviour >= Behaviour::saysHitless )  // in the order of ResponseState
      state = static_cast<ResponseState>( Kiv::enumValue( behaviour ) - Kiv::enumValue( Behaviour::saysHitless ) );
    switch ( behaviour ) {
      case Behaviour::isSilent:
        return;
      case Behaviour::answersAtOnce:
        return setters_[status]( { id, state } );
      case Behaviour::answersLate:
        return late_.push_back( step( id, state ) );
      case Behaviour::changesItsAnswer:
        late_.push_back( step( id, otherAnswer( state ) ) );
        return queue_.push_back( step( id, state ) );
      case Behaviour::answersTwice:
        queue_.push_back( step( id, state ) );
        return queue_.push_back( step( id, state ) );
      case Behaviour::repeatsAnOlderId:
        return queue_.push_back( step( id - 1, state ) );
      default:
        return queue_.push_back( step( id, state ) );
    }
  }
  void handlePolicy() {
    log.emplace_back( Kiv::stringValue( config_->globalAclControl() ) );
    queue_.emplace_back( [this, control = config_->globalAclControl()] {
      policy = control;
      status_->globalAclControlIs( control );
    } );
  }

  Kiv::Ptr<PDConfig> config_;
  Kiv::Ptr<PDStatus> status_;
  Kiv::Ptr<Reactor> reactor_;
  std::vector<std::function<void( ResourceStatus const& )>> setters_;
  std::deque<std::function<void()>> queue_;
  std::deque<std::function<void()>> late_;
};

}  // namespace Orvex::Test

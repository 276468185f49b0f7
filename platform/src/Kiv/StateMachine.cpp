#include "Kiv/StateMachine.h"

#include <algorithm>

namespace Kiv {

StateMachine::~StateMachine() {
  for ( NotifieeConst* const reactor : reactors_ ) reactor->machine_ = nullptr;
}

void StateMachine::hasNotificationActiveIs( bool active ) noexcept {
  active_ = active;
  for ( NotifieeConst* const reactor : reactors_ ) reactor->hasNotificationActiveIs( active );
}

void StateMachine::kivDoZombieReactors( bool zombie ) noexcept {
  zombie_ = zombie;
  for ( NotifieeConst* const reactor : reactors_ ) reactor->kivDoZombieReactors( zombie );
}

void StateMachine::reactorAdd( NotifieeConst* reactor ) {
  reactors_.push_back( reactor );
  reactor->machine_ = this;
  reactor->hasNotificationActiveIs( active_ );
  reactor->kivDoZombieReactors( zombie_ );
}

void StateMachine::reactorRemove( NotifieeConst* reactor ) noexcept {
  reactors_.erase( std::find( reactors_.begin(), reactors_.end(), reactor ) );
}

}  // namespace Kiv

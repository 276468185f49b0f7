#include "Kiv/Entity.h"

#include <string>
#include <utility>

#include "Kiv/StateMachine.h"

namespace Kiv {

NotifieeConst::~NotifieeConst() {
  if ( entity_ ) entity_->notifieeRemove( this );
  if ( machine_ ) machine_->reactorRemove( this );
}

void NotifieeConst::onNotificationException( std::exception_ptr exception ) noexcept {
  std::string text = "a notification handler threw";
  try {
    std::rethrow_exception( std::move( exception ) );
  } catch ( std::exception const& thrown ) {
    text += std::string( ": " ) + thrown.what();
  } catch ( ... ) {
    text += " what is no std::exception";
  }
  fatal( text );
}

void NotifieeConst::bind( Ptr<Entity const> const& entity ) {
  if ( entity == entity_ ) return;
  if ( entity ) {
    fatalUnless( canBind( *entity ), "a reactor is bound to an entity of its own class" );
    entity->notifieeAdd( this );
  }
  if ( entity_ ) {
    handleUnbinding();
    entity_->notifieeRemove( this );
  }
  entity_ = entity;
}

Entity::~Entity() { delete notifiees_; }

std::size_t Entity::notifiees() const noexcept { return notifiees_ ? notifiees_->live() : 0; }

void Entity::notifieeAdd( NotifieeConst* notifiee ) const {
  if ( !notifiees_ ) notifiees_ = new Detail::NotifieeList;
  notifiees_->add( notifiee );
}

void Entity::notifieeRemove( NotifieeConst* notifiee ) const noexcept {
  notifiees_->remove( notifiee );
  dropEmptyList();
}

void Entity::dropEmptyList() const noexcept {
  if ( notifiees_->dispensable() ) delete std::exchange( notifiees_, nullptr );
}

void Entity::closeHoles() const noexcept {
  notifiees_->closeHoles();
  dropEmptyList();
}

}  // namespace Kiv

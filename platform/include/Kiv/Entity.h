#pragma once

/// Entities and the notification of their changes.
///
/// An entity is an object with named attributes. `x()` reads attribute x, `xIs( v )` stores v and, when it differs,
/// tells every reactor bound to the entity by calling its `onX()`. Accessors are written out over the helpers here:
///
///     class Lamp : public Kiv::Entity {
///      public:
///       class NotifieeConst : public Kiv::NotifieeConstOf<Lamp, Kiv::NotifieeConst> {
///        public:
///         virtual void onLit() {}
///       };
///       bool lit() const { return lit_; }
///       void litIs( bool lit ) { set( lit_, lit, &NotifieeConst::onLit ); }
///       ...
///
/// A handler may do anything: set attributes of the same entity again, bind and unbind reactors, drop the last
/// reference to the entity, to its own reactor or to that reactor's owner. One notification therefore
///  1. keeps its entity alive until it ends,
///  2. visits reactors in the order in which they were bound,
///  3. skips a reactor that was unbound meanwhile, and leaves one that was bound meanwhile for the next change,
///  4. hands an exception that escapes a handler to that reactor's onNotificationException, and goes on.
///
/// Whoever calls an entity holds it: a setter that releases the last reference to its own entity is not provided for.
///
/// An attribute that nobody watches costs a compare and a store; a reactor list is allocated with the first reactor.

#include <exception>
#include <type_traits>

#include "Kiv/NotifieeList.h"
#include "Kiv/Ptr.h"

namespace Kiv {

class Entity;
class StateMachine;

/// Base of all reactors. A reactor is bound to one entity at a time and keeps it alive; delivery starts switched off.
class NotifieeConst : public PtrInterface {
 public:
  /// Distance from this base; an entity calls only reactors that know the attribute's class (see NotifieeConstOf).
  static constexpr unsigned kLevel = 0;

  ~NotifieeConst() override;

  bool hasNotificationActive() const noexcept { return active_; }
  void hasNotificationActiveIs( bool active ) noexcept {
    active_ = active;
    updateHearing();
  }

  /// A reactor that is being torn down delivers nothing, whatever hasNotificationActive() says.
  void kivDoZombieReactors( bool zombie ) noexcept {
    zombie_ = zombie;
    updateHearing();
  }

  /// Called with what escaped a handler. The default prints it and ends the process: the handler's work is half done,
  /// and nobody else would know.
  virtual void onNotificationException( std::exception_ptr exception ) noexcept;

 protected:
  NotifieeConst() noexcept = default;

  void handleLastReferenceGone() noexcept override { kivDoZombieReactors( true ); }
  /// Called before the reactor leaves the entity that it is bound to.
  virtual void handleUnbinding() noexcept {}

  Entity const* boundEntity() const noexcept { return entity_.get(); }
  void bind( Ptr<Entity const> const& entity );
  virtual bool canBind( Entity const& ) const { return true; }

  /// Calls a handler as a notification does: nothing while delivery is off; the reactor stays alive; exceptions are
  /// caught.
  template <class Notifiee, class... Formal, class... Args>
  void deliver( void ( Notifiee::*handler )( Formal... ), Args const&... args ) {
    if ( hears_ < Notifiee::kLevel ) return;
    Ptr<NotifieeConst> const self( this );
    try {
      ( static_cast<Notifiee*>( this )->*handler )( args... );
    } catch ( ... ) {
      onNotificationException( std::current_exception() );
    }
  }

  void levelIs( unsigned level ) noexcept {
    level_ = level;
    updateHearing();
  }

  StateMachine* machine() const noexcept { return machine_; }

 private:
  friend class Entity;
  friend class StateMachine;

  void updateHearing() noexcept { hears_ = active_ && !zombie_ ? level_ : 0; }

  Ptr<Entity const> entity_;
  StateMachine* machine_ = nullptr;  // the owner, while it lives
  unsigned level_ = kLevel;
  unsigned hears_ = 0;  // the level up to which attributes are delivered now; real ones begin at 1
  bool active_ = false;
  bool zombie_ = false;
};

/// What an entity class's NotifieeConst derives from. `Base` is Kiv::NotifieeConst, or, when the entity derives from
/// another one that is watched, that one's NotifieeConst: reactors of the base then hear the base's attributes, those of
/// the derived class hear all. The wrong base would deliver to reactors of another class, so there is no default.
template <class EntityType, class Base>
class NotifieeConstOf : public Base {
 public:
  static constexpr unsigned kLevel = Base::kLevel + 1;

  Ptr<EntityType const> notifier() const {
    return Ptr<EntityType const>( static_cast<EntityType const*>( this->boundEntity() ) );
  }
  /// Binds to another entity, or to none. Calls no handler.
  void notifierIs( Ptr<EntityType const> const& entity ) { this->bind( entity ); }

 protected:
  NotifieeConstOf() noexcept { this->levelIs( kLevel ); }
  bool canBind( Entity const& entity ) const override { return dynamic_cast<EntityType const*>( &entity ) != nullptr; }
};

class Entity : public PtrInterface {
 public:
  ~Entity() override;

  /// The entity that this one is part of, or null. Not counted: a parent holds its parts.
  Entity* parent() const noexcept { return parent_; }
  void parentIs( Entity* parent ) noexcept { parent_ = parent; }

  /// Number of reactors bound.
  std::size_t notifiees() const noexcept;

 protected:
  Entity() noexcept = default;

  /// Stores and notifies, when `value` differs. A NaN always differs.
  template <class Value, class Notifiee>
  void set( Value& stored, std::type_identity_t<Value> const& value, void ( Notifiee::*handler )() ) {
    if ( stored == value ) return;
    stored = value;
    notify( handler );
  }

  /// Collection members: `Map` is HashMap2018 or RbTreeMap; handlers are onX( key ) for one member, onX() for all.
  template <class Map, class Notifiee, class Formal>
  void setMember( Map& map, typename Map::Key const& key, typename Map::Value const& value,
                  void ( Notifiee::*handler )( Formal ) ) {
    typename Map::Key const changed = key;  // `key` may be part of the value replaced
    if ( map.set( changed, value ) ) notify( handler, changed );
  }
  template <class Map, class Notifiee, class Formal>
  void deleteMember( Map& map, typename Map::Key const& key, void ( Notifiee::*handler )( Formal ) ) {
    typename Map::Key const removed = key;  // `key` may be part of the member
    if ( map.erase( removed ) ) notify( handler, removed );
  }
  template <class Map, class Notifiee>
  void deleteAllMembers( Map& map, void ( Notifiee::*handler )() ) {
    if ( map.empty() ) return;
    map.clear();
    notify( handler );
  }

  template <class Notifiee, class... Formal, class... Args>
  void notify( void ( Notifiee::*handler )( Formal... ), Args const&... args ) {
    if ( !notifiees_ ) [[likely]]
      return;
    Walk walk( *this );
    while ( NotifieeConst* const notifiee = walk.next() ) notifiee->deliver( handler, args... );
  }

 private:
  friend class NotifieeConst;

  /// One notification in progress.
  class Walk {
   public:
    explicit Walk( Entity const& entity ) noexcept
        : entity_( &entity ), list_( entity.notifiees_ ), end_( list_->size() ) {
      list_->walkBegins();
    }
    ~Walk() {
      if ( list_->walkEnds() ) [[unlikely]]
        entity_->closeHoles();
    }
    Walk( Walk const& ) = delete;
    Walk& operator=( Walk const& ) = delete;

    /// The next reactor that was bound when the walk began and still is; null at the end.
    NotifieeConst* next() noexcept {
      while ( position_ < end_ )
        if ( NotifieeConst* const notifiee = list_->at( position_++ ) ) return notifiee;
      return nullptr;
    }

   private:
    Ptr<Entity const> entity_;
    Detail::NotifieeList* list_;
    std::size_t position_ = 0;
    std::size_t end_;
  };

  void notifieeAdd( NotifieeConst* notifiee ) const;
  void notifieeRemove( NotifieeConst* notifiee ) const noexcept;
  void dropEmptyList() const noexcept;
  void closeHoles() const noexcept;

  Entity* parent_ = nullptr;
  mutable Detail::NotifieeList* notifiees_ = nullptr;
};

}  // namespace Kiv

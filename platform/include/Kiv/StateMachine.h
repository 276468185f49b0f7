#pragma once

/// State machines and the reactors that they own.
///
/// A machine owns one reactor for each entity that it watches: a small nested class, named Kiv plus what it watches,
/// that forwards to the machine. The machine switches the delivery of all of them together.
///
///     class Switch : public Kiv::StateMachine {
///      public:
///       explicit Switch( Kiv::Ptr< Lamp const > const& lamp ) : kivLamp_( Kiv::make< KivLamp >( this ) ) {
///         kivLamp_->notifierIs( lamp );
///       }
///       void handleLit();
///
///      private:
///       class KivLamp : public Kiv::Reactor< Lamp::NotifieeConst, Switch > {
///        public:
///         using Reactor::Reactor;
///         void onLit() override { owner()->handleLit(); }
///       };
///       Kiv::Ptr< KivLamp > kivLamp_;
///     };
///     auto machine = Kiv::make< Switch >( lamp );    // a factory holds the machine before it lets changes in
///     machine->hasNotificationActiveIs( true );

#include <vector>

#include "Kiv/Entity.h"

namespace Kiv {

class StateMachine : public PtrInterface {
 public:
  ~StateMachine() override;

  bool hasNotificationActive() const noexcept { return active_; }
  /// Switches delivery for every reactor of this machine, those to come included. Off from the start.
  void hasNotificationActiveIs( bool active ) noexcept;

  /// Silences every reactor, those to come included, while the machine is being torn down.
  void kivDoZombieReactors( bool zombie ) noexcept;

 protected:
  StateMachine() noexcept = default;
  void handleLastReferenceGone() noexcept override { kivDoZombieReactors( true ); }

 private:
  friend class NotifieeConst;
  template <class Notifiee, class Owner>
  friend class Reactor;

  void reactorAdd( NotifieeConst* reactor );
  void reactorRemove( NotifieeConst* reactor ) noexcept;

  std::vector<NotifieeConst*> reactors_;  // not counted: members of the derived machine hold them
  bool active_ = false;
  bool zombie_ = false;
};

/// A reactor that forwards to the machine that owns it.
template <class Notifiee, class Owner>
class Reactor : public Notifiee {
 public:
  explicit Reactor( Owner* owner ) { owner->reactorAdd( this ); }

 protected:
  /// The machine, held for as long as the result lives: its handler may drop every other reference to it. Null when the
  /// machine has gone, which a handler sees only after its first call of the machine.
  Ptr<Owner> owner() const { return Ptr<Owner>( static_cast<Owner*>( this->machine() ) ); }
};

}  // namespace Kiv

#pragma once

/// Shared ownership: every entity, state machine and reactor derives from PtrInterface and is held through Ptr.
///
///     auto config = Kiv::make< StageConfig >();
///     Kiv::Ptr< StageConfig const > readOnly = config;
///
/// The count lives in the object, so a Ptr is one word and a plain `this` can become a Ptr again. The object is
/// destroyed when its last Ptr goes: at once, except that a chain of objects that release each other is unwound in a
/// loop once it is deeper than a fixed bound, so that its length does not matter. A destructor that throws ends the
/// process.
///
/// A class that holds a Ptr to a type that its header only declares must define its destructor in its source file.

#include <compare>
#include <concepts>
#include <cstddef>
#include <type_traits>
#include <utility>

#include "Kiv/FatalCheck.h"
#include "Kiv/ReferenceCount.h"

namespace Kiv {

class PtrInterface {
 public:
  PtrInterface( PtrInterface const& ) = delete;
  PtrInterface& operator=( PtrInterface const& ) = delete;

  void referenceInc() const noexcept { references_.increment(); }
  void referenceDec() const noexcept {
    if ( references_.decrement() ) destroy();
  }
  /// Number of Ptrs to this object.
  std::uint32_t references() const noexcept { return references_.value(); }

 protected:
  /// The first reference is there from the start: make() takes it over, and a constructor may form a Ptr to `this`.
  PtrInterface() noexcept { references_.increment(); }
  virtual ~PtrInterface() = default;

  /// Called when the last reference has gone, at once and while the object is still whole. A Ptr to `this` may be formed
  /// until the destructor has ended, and must not outlive it.
  virtual void handleLastReferenceGone() noexcept {}

 private:
  void destroy() const noexcept;

  mutable ReferenceCount references_;
};

template <class T>
class Ptr {
 public:
  constexpr Ptr() noexcept = default;
  constexpr Ptr( std::nullptr_t ) noexcept {}
  explicit Ptr( T* object ) noexcept : object_( object ) { acquire(); }
  Ptr( Ptr const& other ) noexcept : object_( other.object_ ) { acquire(); }
  Ptr( Ptr&& other ) noexcept : object_( std::exchange( other.object_, nullptr ) ) {}
  template <class U>
  requires std::convertible_to<U*, T*> Ptr( Ptr<U> const& other )
  noexcept : object_( other.get() ) { acquire(); }
  template <class U>
  requires std::convertible_to<U*, T*> Ptr( Ptr<U>&& other )
  noexcept : object_( other.release() ) {}
  ~Ptr() {
    if ( object_ ) object_->referenceDec();
  }

  /// The old object is released last, when this Ptr already has its new value.
  Ptr& operator=( Ptr other ) noexcept {
    std::swap( object_, other.object_ );
    return *this;
  }

  T* get() const noexcept { return object_; }
  T* operator->() const noexcept { return object_; }
  T& operator*() const noexcept { return *object_; }
  explicit operator bool() const noexcept { return object_ != nullptr; }

  /// Gives the reference away without releasing it.
  T* release() noexcept { return std::exchange( object_, nullptr ); }
  /// Takes over a reference that is counted already.
  static Ptr adopt( T* object ) noexcept {
    Ptr adopted;
    adopted.object_ = object;
    return adopted;
  }

  /// Same object.
  template <class U>
  bool operator==( Ptr<U> const& other ) const noexcept {
    return object_ == other.get();
  }
  bool operator==( std::nullptr_t ) const noexcept { return object_ == nullptr; }

 private:
  void acquire() const noexcept {
    if ( object_ ) object_->referenceInc();
  }

  T* object_ = nullptr;
};

template <class T>
Ptr( T* ) -> Ptr<T>;

/// Creates an object and its first reference; the only way to create one.
template <class T, class... Args>
Ptr<T> make( Args&&... args ) {
  return Ptr<T>::adopt( new T( std::forward<Args>( args )... ) );
}

/// The same object seen as the derived type that it must be; null stays null. A wrong type is a fatal check.
template <class To, class From>
Ptr<To> ptrCast( Ptr<From> const& from ) {
  To* const to = dynamic_cast<To*>( from.get() );
  fatalUnless( to || !from, "ptrCast: the object is of the type asked for" );
  return Ptr<To>( to );
}

}  // namespace Kiv

#pragma once

/// The trace facility. Each module has one handle, on which levels are enabled; a trace whose level is off costs a load
/// and a branch, and its text is never composed.
///
///     static Kiv::TraceHandle traceHandle( "OrvexRangeSplitSm" );
///     traceHandle.trace( 4, "[", chipId(), "] Ready" );                          // one line
///     if ( auto dump = Kiv::TraceHelper::createIfEnabled( traceHandle, 9 ) ) {   // a line composed in several steps
///       for ( ... ) *dump << ...;
///       dump->trace();
///     }
///
/// Levels: 0 failures; 1 progress; 2 skipped or switched-off stages; 4 transitions of the stage controller; 6 details
/// of a stage's work; 8 entry into a handler or step; 9 dumps of whole data sets. Level 0 is on from the start.

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Kiv/Value.h"

namespace Kiv {

/// A level, and the place that traces at it.
struct TraceLevel {
  unsigned level;
  char const* file;
  int line;
  char const* function;

  constexpr TraceLevel( unsigned traceLevel, char const* sourceFile = __builtin_FILE(),
                        int sourceLine = __builtin_LINE(), char const* sourceFunction = __builtin_FUNCTION() ) noexcept
      : level( traceLevel ), file( sourceFile ), line( sourceLine ), function( sourceFunction ) {}
};

/// One composed line, as a sink receives it.
struct TraceLine {
  std::string_view module;
  TraceLevel place;
  std::string_view text;
};

namespace Detail {

/// As a stream prints it; numbers as values do: all digits of a time, and a byte is no character.
template <class T>
void printTraced( std::ostream& out, T const& value ) {
  if constexpr ( std::is_arithmetic_v<T> && !std::same_as<T, bool> && !std::same_as<T, char> )
    printField( out, value );
  else
    out << value;
}

}  // namespace Detail

class TraceHandle {
 public:
  static constexpr unsigned kMaxLevel = 9;

  /// `module` must outlive the handle. Handles are static objects: they register with the facility until they go.
  explicit TraceHandle( std::string_view module );
  ~TraceHandle();
  TraceHandle( TraceHandle const& ) = delete;
  TraceHandle& operator=( TraceHandle const& ) = delete;

  std::string_view module() const noexcept { return module_; }

  bool enabled( unsigned level ) const noexcept {
    return level <= kMaxLevel && ( ( levels_.load( std::memory_order_relaxed ) >> level ) & 1U ) != 0;
  }
  void enabledIs( unsigned level, bool on ) noexcept;

  /// Writes one line made of the arguments' text forms, if `level` is enabled.
  template <class... Args>
  void trace( TraceLevel const& level, Args const&... args ) const {
    if ( !enabled( level.level ) ) [[likely]]
      return;
    TextStream text;
    ( Detail::printTraced( text, args ), ... );
    emit( level, text.str() );
  }

 private:
  friend class TraceHelper;
  void emit( TraceLevel const& place, std::string_view text ) const;

  std::string_view module_;
  std::atomic<std::uint32_t> levels_ = 1;
};

/// One line composed in steps.
class TraceHelper {
 public:
  /// Null when `level` is not enabled on `handle`.
  static std::unique_ptr<TraceHelper> createIfEnabled( TraceHandle const& handle, unsigned level );

  template <class T>
  TraceHelper& operator<<( T const& value ) {
    Detail::printTraced( text_, value );
    return *this;
  }

  /// Writes what has been composed since the last call, as one line.
  void trace( char const* file = __builtin_FILE(), int line = __builtin_LINE(),
              char const* function = __builtin_FUNCTION() );

 private:
  TraceHelper( TraceHandle const& handle, unsigned level ) : handle_( handle ), level_( level ) {}

  TraceHandle const& handle_;
  unsigned level_;
  TextStream text_;
};

namespace Trace {

/// Enables levels 0 to `level` and no others on every handle that there is, or on one module's.
/// Returns how many handles were set: 0 says that no module has this name.
std::size_t levelIs( unsigned level, std::string_view module = {} );

/// Names of the modules that trace, in ascending order.
std::vector<std::string> modules();

/// Where lines go; called by one thread at a time. What is traced from inside the sink goes to standard error. It must
/// not throw. An empty function restores standard error.
void sinkIs( std::function<void( TraceLine const& )> sink );

}  // namespace Trace

}  // namespace Kiv

#include "Kiv/Trace.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <memory>
#include <mutex>
#include <utility>

namespace Kiv {

namespace {

using Sink = std::function<void( TraceLine const& )>;

struct Facility {
  std::mutex mutex;
  std::vector<TraceHandle*> handles;
  std::shared_ptr<Sink const> sink;
  std::mutex oneLine;  // held while a sink works
};

/// There before the first static handle and never destroyed, so that the last destructors can trace.
Facility& facility() {
  static Facility& theFacility = *new Facility;
  return theFacility;
}

thread_local bool insideSink = false;

/// A line is one line, whatever names it quotes.
std::string printable( std::string_view text ) {
  std::string result;
  for ( char const each : text ) {
    if ( std::iscntrl( static_cast<unsigned char>( each ) ) )
      result += format( "\\x%02x", static_cast<unsigned>( static_cast<unsigned char>( each ) ) ).view();
    else
      result += each;
  }
  return result;
}

void printToStandardError( TraceLine const& line ) {
  std::string_view const file( line.place.file );
  std::string_view const name = file.substr( file.find_last_of( '/' ) + 1 );
  std::string const text = printable( line.text );
  std::fprintf( stderr, "%.*s level %u %.*s:%d: %s\n", static_cast<int>( line.module.size() ), line.module.data(),
                line.place.level, static_cast<int>( name.size() ), name.data(), line.place.line, text.c_str() );
}

}  // namespace

TraceHandle::TraceHandle( std::string_view module ) : module_( module ) {
  std::lock_guard const lock( facility().mutex );
  facility().handles.push_back( this );
}

TraceHandle::~TraceHandle() {
  std::lock_guard const lock( facility().mutex );
  std::erase( facility().handles, this );
}

void TraceHandle::enabledIs( unsigned level, bool on ) noexcept {
  std::uint32_t const bit = 1U << level;
  if ( on )
    levels_.fetch_or( bit, std::memory_order_relaxed );
  else
    levels_.fetch_and( ~bit, std::memory_order_relaxed );
}

void TraceHandle::emit( TraceLevel const& place, std::string_view text ) const {
  TraceLine const line{ module_, place, text };
  std::shared_ptr<Sink const> sink;
  if ( !insideSink ) {
    std::lock_guard const lock( facility().mutex );
    sink = facility().sink;
  }
  if ( !sink ) {
    printToStandardError( line );
    return;
  }
  std::lock_guard const lock( facility().oneLine );
  insideSink = true;
  ( *sink )( line );
  insideSink = false;
}

std::unique_ptr<TraceHelper> TraceHelper::createIfEnabled( TraceHandle const& handle, unsigned level ) {
  if ( !handle.enabled( level ) ) return nullptr;
  return std::unique_ptr<TraceHelper>( new TraceHelper( handle, level ) );
}

void TraceHelper::trace( char const* file, int line, char const* function ) {
  handle_.emit( TraceLevel( level_, file, line, function ), text_.str() );
  text_.str( {} );
}

namespace Trace {

std::size_t levelIs( unsigned level, std::string_view module ) {
  std::lock_guard const lock( facility().mutex );
  std::size_t count = 0;
  for ( TraceHandle* const handle : facility().handles ) {
    if ( !module.empty() && handle->module() != module ) continue;
    ++count;
    for ( unsigned each = 0; each <= TraceHandle::kMaxLevel; ++each ) handle->enabledIs( each, each <= level );
  }
  return count;
}

std::vector<std::string> modules() {
  std::lock_guard const lock( facility().mutex );
  std::vector<std::string> names;
  for ( TraceHandle const* const handle : facility().handles ) names.emplace_back( handle->module() );
  std::sort( names.begin(), names.end() );
  names.erase( std::unique( names.begin(), names.end() ), names.end() );
  return names;
}

void sinkIs( std::function<void( TraceLine const& )> sink ) {
  auto next = sink ? std::make_shared<Sink const>( std::move( sink ) ) : nullptr;
  std::lock_guard const lock( facility().mutex );
  facility().sink.swap( next );  // the old one goes when nothing is locked any more
}

}  // namespace Trace

}  // namespace Kiv

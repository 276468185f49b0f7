#include "Kiv/Trace.h"

#include <algorithm>
#include <cstdio>
#include <mutex>

namespace Kiv {

namespace {

/// Reached through a function, so that it exists before the first static handle does and as long as the last.
struct Facility {
  std::mutex mutex;
  std::vector<TraceHandle*> handles;
  std::function<void( TraceLine const& )> sink;
};

Facility& facility() {
  static Facility theFacility;
  return theFacility;
}

void printToStandardError( TraceLine const& line ) {
  std::string_view const file( line.place.file );
  std::string_view const name = file.substr( file.find_last_of( '/' ) + 1 );
  std::fprintf( stderr, "%.*s level %u %.*s:%d: %.*s\n", static_cast<int>( line.module.size() ), line.module.data(),
                line.place.level, static_cast<int>( name.size() ), name.data(), line.place.line,
                static_cast<int>( line.text.size() ), line.text.data() );
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
  std::lock_guard const lock( facility().mutex );
  if ( facility().sink )
    facility().sink( line );
  else
    printToStandardError( line );
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
  std::lock_guard const lock( facility().mutex );
  facility().sink = std::move( sink );
}

}  // namespace Trace

}  // namespace Kiv

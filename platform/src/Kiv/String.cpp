#include "Kiv/String.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>
#include <ostream>
#include <vector>

#include "Kiv/FatalCheck.h"
#include "Kiv/Hash.h"
#include "Kiv/ReferenceCount.h"

namespace Kiv {

/// The characters and their ending zero byte follow the header in the same allocation.
struct String::Buffer {
  ReferenceCount references;
  std::size_t size = 0;

  char* characters() noexcept { return reinterpret_cast<char*>( this + 1 ); }

  static Buffer* create( std::string_view head, std::string_view tail ) {
    std::size_t const size = head.size() + tail.size();
    if ( size == 0 ) return nullptr;
    auto* const buffer = new ( ::operator new( sizeof( Buffer ) + size + 1 ) ) Buffer;
    buffer->size = size;
    buffer->references.increment();
    head.copy( buffer->characters(), head.size() );
    tail.copy( buffer->characters() + head.size(), tail.size() );
    buffer->characters()[size] = '\0';
    return buffer;
  }
};

String::String( std::string_view text ) : buffer_( Buffer::create( text, {} ) ) {}

String::String( String const& other ) noexcept : buffer_( other.buffer_ ) {
  if ( buffer_ ) buffer_->references.increment();
}

String::~String() {
  if ( !buffer_ || !buffer_->references.decrement() ) return;
  buffer_->~Buffer();
  ::operator delete( buffer_ );
}

std::string_view String::view() const noexcept {
  return buffer_ ? std::string_view( buffer_->characters(), buffer_->size ) : std::string_view( "" );
}

char const* String::c_str() const noexcept { return view().data(); }

std::uint32_t String::hash() const noexcept { return IncrementalHash().add( view() ).result(); }

String& String::operator+=( String const& tail ) { return *this = *this + tail; }

String operator+( String const& head, String const& tail ) {
  String result;
  result.buffer_ = String::Buffer::create( head.view(), tail.view() );
  return result;
}

std::ostream& operator<<( std::ostream& out, String const& text ) { return out << text.view(); }

String format( char const* format, ... ) {
  std::va_list arguments;
  va_start( arguments, format );
  std::va_list again;
  va_copy( again, arguments );
  int const size = std::vsnprintf( nullptr, 0, format, arguments );
  va_end( arguments );
  fatalUnless( size >= 0, "format: the arguments can be printed" );
  std::vector<char> text( static_cast<std::size_t>( size ) + 1 );
  std::vsnprintf( text.data(), text.size(), format, again );
  va_end( again );
  return String( std::string_view( text.data(), static_cast<std::size_t>( size ) ) );
}

}  // namespace Kiv

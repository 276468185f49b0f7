#pragma once

/// An immutable character string whose copies share one buffer. One word; an empty string allocates nothing.

#include <compare>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>

namespace Kiv {

class String {
 public:
  String() noexcept = default;
  String( char const* text ) : String( std::string_view( text ) ) {}
  String( std::nullptr_t ) = delete;
  String( std::string const& text ) : String( std::string_view( text ) ) {}
  explicit String( std::string_view text );
  String( String const& other ) noexcept;
  String( String&& other ) noexcept : buffer_( std::exchange( other.buffer_, nullptr ) ) {}
  ~String();
  String& operator=( String other ) noexcept {
    std::swap( buffer_, other.buffer_ );
    return *this;
  }

  std::string_view view() const noexcept;
  /// Ends with a zero byte; lives as long as a copy of this string does.
  char const* c_str() const noexcept;
  std::size_t size() const noexcept { return view().size(); }
  bool empty() const noexcept { return buffer_ == nullptr; }
  std::uint32_t hash() const noexcept;

  String& operator+=( String const& tail );

  friend String operator+( String const& head, String const& tail );
  friend bool operator==( String const& a, String const& b ) noexcept {
    return a.buffer_ == b.buffer_ || a.view() == b.view();
  }
  friend std::strong_ordering operator<=>( String const& a, String const& b ) noexcept { return a.view() <=> b.view(); }
  friend std::ostream& operator<<( std::ostream& out, String const& text );

 private:
  struct Buffer;
  Buffer* buffer_ = nullptr;
};

/// Text composed as printf composes it.
[[gnu::format( printf, 1, 2 )]] String format( char const* format, ... );

}  // namespace Kiv

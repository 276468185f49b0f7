#pragma once

/// The exceptions that the platform layer throws. Stages never throw: they end with a status.

#include <concepts>
#include <stdexcept>
#include <string>
#include <string_view>

#include "Kiv/String.h"

namespace Kiv {

class Exception : public std::runtime_error {
 public:
  explicit Exception( std::string_view text ) : std::runtime_error( std::string( text ) ) {}
};

/// A value outside the limits of its attribute; the attribute keeps its old value. what() is the attribute's fixed text
/// ("EncodingAttr::width < 0 or > 16 not allowed"), value() the value refused.
class RangeException : public Exception {
 public:
  RangeException( std::string_view text, String value ) : Exception( text ), value_( std::move( value ) ) {}
  String const& value() const noexcept { return value_; }

 private:
  String value_;
};

/// A factory call on an attribute that already holds an object made with other constructor parameters.
class NameInUseException : public Exception {
 public:
  using Exception::Exception;
};

/// Text that does not have the form of the value asked for; what() says where and what was expected.
class ParseException : public Exception {
 public:
  /// `column` counts from 1.
  ParseException( std::string_view text, std::size_t column ) : Exception( text ), column_( column ) {}
  std::size_t column() const noexcept { return column_; }

 private:
  std::size_t column_;
};

[[noreturn]] inline void throwNameInUseException( String const& text ) { throw NameInUseException( text.view() ); }

/// Fails with: RangeException( text ) when `value` is not within [ `low`, `high` ].
template <std::integral Integer>
void checkRange( Integer value, std::type_identity_t<Integer> low, std::type_identity_t<Integer> high,
                 std::string_view text ) {
  if ( value < low || value > high ) throw RangeException( text, String( std::to_string( value ) ) );
}

}  // namespace Kiv

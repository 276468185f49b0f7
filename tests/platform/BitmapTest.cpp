#include "Brae/Bitmap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

namespace {

using Brae::Bitmap;
using Brae::bitmapFactory;

/// The same bitmap, a bit at a time.
struct NaiveBitmap {
  std::vector<bool> bits;

  std::uint32_t size() const { return static_cast<std::uint32_t>( bits.size() ); }
  void set( std::uint32_t first, std::uint32_t last, bool state ) {
    for ( std::uint32_t i = first; i <= last; ++i ) bits[i] = state;
  }
  std::uint32_t findClear( std::uint32_t first, std::uint32_t last ) const {
    for ( std::uint32_t i = first; i <= last; ++i )
      if ( !bits[i] ) return i;
    return size();
  }
  std::uint32_t count( std::uint32_t first, std::uint32_t last, bool state ) const {
    std::uint32_t counted = 0;
    for ( std::uint32_t i = first; i <= last; ++i ) counted += bits[i] == state;
    return counted;
  }
};

std::string text( Bitmap const& bitmap ) {
  std::string bits;
  for ( std::uint32_t i = 0; i != bitmap.size(); ++i ) bits += bitmap.bit( i ) ? '1' : '0';
  return bits;
}

std::string text( NaiveBitmap const& bitmap ) {
  std::string bits;
  for ( bool const bit : bitmap.bits ) bits += bit ? '1' : '0';
  return bits;
}

TEST( Bitmap, TreatsEveryRangeOfASmallBitmapExactly ) {
  std::uint32_t const size = 130;
  unsigned const seed = 1;
  SCOPED_TRACE( testing::Message() << "seed " << seed );
  std::mt19937 random( seed );
  for ( std::uint32_t first = 0; first != size; ++first ) {
    for ( std::uint32_t last = first; last != size; ++last ) {
      SCOPED_TRACE( testing::Message() << first << " to " << last );
      Kiv::Ptr<Bitmap> const bitmap = bitmapFactory( size );
      NaiveBitmap naive{ std::vector<bool>( size ) };
      auto const setOutOf10 = random() % 11;
      for ( std::uint32_t i = 0; i != size; ++i ) {
        if ( random() % 10 >= setOutOf10 ) continue;
        bitmap->setBit( i );
        naive.set( i, i, true );
      }
      ASSERT_EQ( naive.findClear( first, last ), bitmap->findClearBitInRange( first, last ) );
      ASSERT_EQ( naive.count( first, last, true ), bitmap->numBitsInSetStateInRange( first, last ) );
      ASSERT_EQ( naive.count( first, last, false ), bitmap->numBitsInSetStateInRange( first, last, false ) );

      bool const state = random() % 2 == 0;
      state ? bitmap->setBitsInRange( first, last ) : bitmap->clearBitsInRange( first, last );
      naive.set( first, last, state );
      ASSERT_EQ( text( naive ), text( *bitmap ) );
      ASSERT_EQ( naive.count( 0, size - 1, true ), bitmap->numBitsInSetState( true ) );
    }
  }
}

TEST( Bitmap, AgreesWithANaiveBitmapUnderRandomChanges ) {
  for ( std::uint32_t const size : { 1U, 63U, 64U, 65U, 128U, 65536U } ) {
    SCOPED_TRACE( testing::Message() << "size " << size << ", seed " << size );
    std::mt19937 random( size );
    std::uniform_int_distribution<std::uint32_t> position( 0, size - 1 );
    Kiv::Ptr<Bitmap> const bitmap = bitmapFactory( size );
    NaiveBitmap naive{ std::vector<bool>( size ) };
    for ( int step = 0; step != 300; ++step ) {
      std::uint32_t const a = position( random );
      std::uint32_t const b = position( random );
      auto const [first, last] = std::minmax( a, b );
      switch ( random() % 4 ) {
        case 0:
          bitmap->setBit( a ), naive.set( a, a, true );
          break;
        case 1:
          bitmap->clearBit( a ), naive.set( a, a, false );
          break;
        case 2:
          bitmap->setBitsInRange( first, last ), naive.set( first, last, true );
          break;
        default:
          bitmap->clearBitsInRange( first, last ), naive.set( first, last, false );
          break;
      }
      std::uint32_t const from = position( random );
      ASSERT_EQ( naive.findClear( from, size - 1 ), bitmap->findClearBitInRange( from, size - 1 ) );
      ASSERT_EQ( naive.count( first, last, true ), bitmap->numBitsInSetStateInRange( first, last ) );
      ASSERT_EQ( naive.count( 0, size - 1, true ), bitmap->numBitsInSetState( true ) );
      ASSERT_EQ( naive.count( 0, size - 1, false ), bitmap->numBitsInSetState( false ) );
    }
    EXPECT_EQ( text( naive ), text( *bitmap ) );
  }
}

TEST( Bitmap, ASearchPastTheEndFindsNothing ) {
  Kiv::Ptr<Bitmap> const bitmap = bitmapFactory( 64 );
  EXPECT_EQ( 64U, bitmap->findClearBitInRange( 64, 63 ) );
  EXPECT_EQ( 64U, bitmap->findClearBitInRange( 5, 4 ) );
  EXPECT_EQ( 0U, bitmapFactory( 0 )->findClearBitInRange( 1, 0 ) );
  EXPECT_EQ( 0U, bitmapFactory( 0 )->numBitsInSetState( false ) );
}

TEST( BitmapDeathTest, ArgumentsOutsideTheBitmapStopTheProcess ) {
  Kiv::Ptr<Bitmap> const bitmap = bitmapFactory( 65 );
  EXPECT_DEATH( bitmap->bit( 65 ), "position < size_" );
  EXPECT_DEATH( bitmap->setBit( 65 ), "last < size_" );
  EXPECT_DEATH( bitmap->clearBit( 0xFFFFFFFFU ), "last < size_" );
  EXPECT_DEATH( bitmap->setBitsInRange( 3, 2 ), "first <= last" );
  EXPECT_DEATH( bitmap->findClearBitInRange( 0, 65 ), "last < size_" );
  EXPECT_DEATH( bitmap->numBitsInSetStateInRange( 64, 65 ), "last < size_" );
  EXPECT_DEATH( bitmapFactory( 0 )->setBit( 0 ), "last < size_" );
}

}  // namespace

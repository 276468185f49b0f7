#include "Kiv/Trace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <locale>
#include <memory>

#include "Vell/AddressFamily.h"

namespace {

using testing::ElementsAre;

/// Counts how often its text is composed.
struct Costly {
  int& composed;
  friend std::ostream& operator<<( std::ostream& out, Costly const& value ) {
    ++value.composed;
    return out << "costly";
  }
};

class TraceTest : public testing::Test {
 protected:
  TraceTest() {
    Kiv::Trace::sinkIs( [this]( Kiv::TraceLine const& line ) {
      lines.push_back( std::string( line.module ) + " " + std::to_string( line.place.level ) + ": " +
                       std::string( line.text ) );
    } );
  }
  ~TraceTest() override { Kiv::Trace::sinkIs( {} ); }

  Kiv::TraceHandle first{ "First" };
  Kiv::TraceHandle second{ "Second" };
  std::vector<std::string> lines;
};

TEST_F( TraceTest, LevelsAreEnabledPerModuleOrForAll ) {
  EXPECT_EQ( 1U, Kiv::Trace::levelIs( 6, "Second" ) );
  EXPECT_EQ( 0U, Kiv::Trace::levelIs( 6, "Third" ) );
  first.trace( 6, "no" );
  second.trace( 6, "yes" );
  second.trace( 7, "no" );
  EXPECT_LE( 2U, Kiv::Trace::levelIs( 1 ) );
  first.trace( 1, "yes" );
  second.trace( 6, "no" );
  EXPECT_THAT( lines, ElementsAre( "Second 6: yes", "First 1: yes" ) );
  EXPECT_THAT( Kiv::Trace::modules(), testing::IsSupersetOf( { "First", "Second" } ) );
  Kiv::Trace::levelIs( 0 );
}

TEST_F( TraceTest, TextIsComposedOnlyWhenItsLevelIsEnabled ) {
  int composed = 0;
  first.trace( 8, Costly{ composed } );
  EXPECT_EQ( nullptr, Kiv::TraceHelper::createIfEnabled( first, 9 ) );
  EXPECT_EQ( 0, composed );
  first.enabledIs( 9, true );
  auto const dump = Kiv::TraceHelper::createIfEnabled( first, 9 );
  *dump << "family " << Vell::AddressFamily::ipv6 << ", " << Costly{ composed };
  dump->trace();
  *dump << "next";
  dump->trace();
  EXPECT_EQ( 1, composed );
  EXPECT_THAT( lines, ElementsAre( "First 9: family ipv6, costly", "First 9: next" ) );
}

// A sink was called, and destroyed, under a lock that it needed to trace.
TEST_F( TraceTest, ASinkMayTraceAndChangeTheSink ) {
  auto const traceWhenGone = std::shared_ptr<void>( nullptr, [this]( void* ) { second.trace( 0, "sink gone" ); } );
  std::vector<std::string> heard;
  Kiv::Trace::sinkIs( [this, &heard, held = traceWhenGone]( Kiv::TraceLine const& line ) {
    heard.emplace_back( line.text );
    second.trace( 0, "from inside" );
    Kiv::Trace::levelIs( 1, "First" );
    if ( line.text == "last" ) Kiv::Trace::sinkIs( {} );
  } );
  const_cast<std::shared_ptr<void>&>( traceWhenGone ) = nullptr;
  testing::internal::CaptureStderr();
  first.trace( 0, "one" );
  first.trace( 1, "last" );
  first.trace( 0, "name\nwith ", std::string_view( "\0", 1 ), "controls" );
  std::string const printed = testing::internal::GetCapturedStderr();
  EXPECT_THAT( heard, ElementsAre( "one", "last" ) );
  EXPECT_THAT( printed, testing::HasSubstr( "from inside" ) );
  EXPECT_THAT( printed, testing::HasSubstr( "sink gone" ) );
  EXPECT_THAT( printed, testing::HasSubstr( ": name\\x0awith \\x00controls\n" ) );
}

TEST_F( TraceTest, NumbersDoNotDependOnTheProcessLocale ) {
  struct Grouping : std::numpunct<char> {
    char do_thousands_sep() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
  };
  std::locale const before = std::locale::global( std::locale( std::locale::classic(), new Grouping ) );
  first.trace( 0, 1234567, " ", 1763697600.125, " ", std::uint8_t{ 7 }, " ", Kiv::valueToStrep( 1234567 ) );
  std::locale::global( before );
  EXPECT_THAT( lines, ElementsAre( "First 0: 1234567 1763697600.125 7 1234567" ) );
}

}  // namespace

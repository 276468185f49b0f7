#pragma once

/// What a child tells the program that started it: lines of a name, a blank and a number on standard output, in any order.
///
///     wall 0.0123
///     entries 9718

#include <chrono>
#include <cstdio>
#include <ctime>

namespace Orvex::Bench {

inline void printFact( char const* name, double value ) { std::printf( "%s %.17g\n", name, value ); }

/// Prints the time since it was made: "wall", and "cpu" for the time of processors that this process took.
class Stopwatch {
 public:
  void print() const {
    std::chrono::duration<double> const wall = std::chrono::steady_clock::now() - began_;
    double const cpu = static_cast<double>( std::clock() - beganCpu_ ) / CLOCKS_PER_SEC;
    printFact( "wall", wall.count() );
    printFact( "cpu", cpu );
  }

 private:
  std::chrono::steady_clock::time_point began_ = std::chrono::steady_clock::now();
  std::clock_t beganCpu_ = std::clock();
};

}  // namespace Orvex::Bench

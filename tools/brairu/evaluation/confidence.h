// What counts of errors say about a rate.
//
// With no error in n independent trials one is 95 % sure that the rate is below 3/n: the rule of
// three (J. A. Hanley and A. Lippman-Hand, "If nothing goes wrong, is everything all right?", JAMA
// 249, 1983). ISO/IEC 19795-1 takes it over for biometric tests.
#pragma once

#include <cstdint>

namespace brairu::tool {

// The rate that, at 95 % confidence, is not exceeded, when errors out of trials were seen. Exact for
// rare errors, whose number follows Poisson's law: 2.996/trials without an error. At most 1.
double upperBound(std::uint64_t errors, std::uint64_t trials);

// The lowest rate that so many trials can tell: 3/trials.
double lowestTold(std::uint64_t trials);

// The trials without an error that it takes to tell a rate: 3/rate.
std::uint64_t trialsToTell(double rate);

// The rate at which one of several comparisons is wrong when each is with this rate, and the other
// way round.
double rateOfAny(double rate, double comparisons);
double rateOfEach(double rateOfAny, double comparisons);

}  // namespace brairu::tool

#pragma once

#include <functional>
#include <string>
#include <vector>

/// Two ways of doing the same thing, measured alternately so that what else the machine does falls on both.
struct SRatio
{
    double perSecond = 0;
    double barePerSecond = 0;

    /// Median over the rounds of ours against the bare one's of the same round.
    double ratio = 0;
};

/// @param ours, bare  one operation each
SRatio MeasureRatio(const std::function<void()>& ours, const std::function<void()>& bare);

double Median(std::vector<double> values);

void Print(const std::string& name, const SRatio& result);

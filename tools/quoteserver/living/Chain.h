// Option tables in the form of the classic service, which pairs calls and puts and names the month
// of an expiry only.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "living/Ask.h"

namespace quoteserver::living {

struct Option {
    std::string root;
    Date expiry;
    bool isCall = true;
    double strike = 0;
    double last = unknown, change = unknown, bid = unknown, ask = unknown;
    double volume = unknown, interest = unknown;
    double volatility = unknown;  // implied: 0.25 is a quarter a year
};

// "AAPL260807C00110000": root, yymmdd, C or P, and the strike in thousandths; blanks may fill the
// root. Throws Nonsense.
Option ParseOptionSymbol(std::string_view symbol);

struct Chain {
    std::string ticker;
    double last = unknown, change = unknown, bid = unknown, ask = unknown, volume = unknown;
    std::chrono::sys_seconds time = {};
    std::vector<Option> options = {};
};

// The same options in a form of our own, with the days of expiry.
std::string WriteOwnChain(const Chain& chain);

// The classic table. Expiries from 2032 on, which its readers would take for 1932, are left out and
// counted. Nothing without options.
std::string WriteChain(const Chain& chain, std::size_t& dropped);

}  // namespace quoteserver::living

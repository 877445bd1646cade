#pragma once

#include <string>

namespace QfnTest {

// The names of this host that the coordinator's start-up registers, for reading URLs without it.
bool registerLocalHostNames();

// Parses url; when that gives an address, prints it with getAsURL and parses the print again. Empty
// when the second address equals the first (or url is no address), else what went wrong.
std::string checkUrlRoundTrip(const std::string& url);

}  // namespace QfnTest

#pragma once

#include <string>

namespace QfnTest {

// What factoryFromURL needs in a process: the object classes registered and the names of this host
// known, as the coordinator's start-up leaves them; undone by releaseAddressHost.
bool prepareAddressHost();
void releaseAddressHost();

// Parses url; when that gives an address, prints it with getAsURL and parses the print again. Empty
// when the second address equals the first (or url is no address), else what went wrong.
std::string checkUrlRoundTrip(const std::string& url);

}  // namespace QfnTest

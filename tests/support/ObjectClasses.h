#pragma once

namespace QfnTest {

// Registers the program's object classes in the factory maps, as the coordinator's start does,
// once for the whole test run; true when they are registered.
bool registerObjectClassesOnce();

}  // namespace QfnTest

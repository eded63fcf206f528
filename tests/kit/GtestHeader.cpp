// Nothing but the header that is read once for all tests; see cmake/MavrTests.cmake.

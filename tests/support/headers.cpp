// Carries the precompiled headers of the tests; see cmake/targets.cmake.

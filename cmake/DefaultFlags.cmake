# Read by project() after the compiler's own defaults are known and before the flag variables
# enter the cache: Release builds default to -O2 -DNDEBUG instead of the compiler's -O3. Flags
# given on the command line or in the cache (a packager's) are left as they are.
set(CMAKE_C_FLAGS_RELEASE_INIT "-O2 -DNDEBUG")
set(CMAKE_CXX_FLAGS_RELEASE_INIT "-O2 -DNDEBUG")

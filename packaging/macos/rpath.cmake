# CMake sets it only if an SDK says that macOS is newer than 10.4.
set(CMAKE_SHARED_LIBRARY_RUNTIME_C_FLAG "-Wl,-rpath,")

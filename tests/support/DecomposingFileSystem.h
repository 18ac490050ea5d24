#pragma once

namespace sync::test {

/// Makes the file systems of this process behave like one that decomposes names: a path is taken in
/// any normal form, and its files have the decomposed one (NFD). Link DecomposingFileSystem.cpp
/// into the test program itself: it takes the place of the functions of the C library.
///
/// Make the files with decomposed names before, or through this.
class DecomposingFileSystem
{
public:
    DecomposingFileSystem();
    ~DecomposingFileSystem();
    DecomposingFileSystem(const DecomposingFileSystem&) = delete;
    DecomposingFileSystem& operator=(const DecomposingFileSystem&) = delete;
};

} // namespace sync::test

# Debian 12, whose packages are the dependencies (`./dev setup` installs them):
# conan create packaging/conan -pr:a packaging/conan/debian-12.profile
[settings]
os=Linux
arch=x86_64
build_type=Release
compiler=gcc
compiler.version=12
compiler.libcxx=libstdc++11
compiler.cppstd=20

[platform_requires]
libsodium/1.0.18
qt/6.4.2
sqlite3/3.40.1

[platform_tool_requires]
cmake/3.25.1
pkgconf/1.8.1

# Every third-party package, found once here so that all directories see the
# same imported targets. All of them are Debian packages installed by scripts/setup.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_package(CURL REQUIRED)
find_package(fmt REQUIRED)
find_package(spdlog REQUIRED)
find_package(nlohmann_json REQUIRED)
find_package(tl-expected REQUIRED)
pkg_check_modules(UUID REQUIRED IMPORTED_TARGET uuid)

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
# X11 input: the event taps, hot keys and pointer queries (Xlib with its XCB
# handle for checked grabs, XInput2 raw events, XTEST, RandR monitor geometry).
pkg_check_modules(XLIB REQUIRED IMPORTED_TARGET x11 x11-xcb xcb)
pkg_check_modules(XI REQUIRED IMPORTED_TARGET xi)
pkg_check_modules(XTST REQUIRED IMPORTED_TARGET xtst)
pkg_check_modules(XRANDR REQUIRED IMPORTED_TARGET xrandr)
# Screen capture: the root window's pixels through MIT-SHM, encoded as JPEG.
pkg_check_modules(XCB_SHM REQUIRED IMPORTED_TARGET xcb-shm)
pkg_check_modules(TURBOJPEG REQUIRED IMPORTED_TARGET libturbojpeg)
# The SECURITY extension's untrusted clients, which the capture tests play.
pkg_check_modules(XEXT REQUIRED IMPORTED_TARGET xext)
# The desktop application's UI: widgets, the card's SVG icons, and the translation
# catalogues compiled at build time; the network's reachability; key presses
# that the widget tests send to a window.
find_package(Qt6 REQUIRED COMPONENTS Core Gui Widgets Svg Network LinguistTools Test)
# The Secret Service (libsecret over GLib's D-Bus) that keeps the refresh token.
pkg_check_modules(LIBSECRET REQUIRED IMPORTED_TARGET libsecret-1)
# The reference server: cpp-httplib (its pkg-config flags switch on TLS, which the
# library was built with), Argon2id and SHA-256 from libsodium, SQLite and libpq.
pkg_check_modules(SERVER_HTTPLIB REQUIRED IMPORTED_TARGET cpp-httplib)
pkg_check_modules(SODIUM REQUIRED IMPORTED_TARGET libsodium)
pkg_check_modules(SQLITE3 REQUIRED IMPORTED_TARGET sqlite3)
pkg_check_modules(LIBPQ REQUIRED IMPORTED_TARGET libpq)

// A module for the test of modules.

extern "C" [[gnu::visibility("default")]] int moduleMain();

int moduleMain() {
    return 42;
}

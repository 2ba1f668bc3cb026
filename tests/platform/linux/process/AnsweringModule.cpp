// A module for the test of modules.

extern "C" [[gnu::visibility("default")]] int answer();

int answer() {
    return 42;
}

// A library for the tests of run-time loading: it exports one function.
extern "C" __attribute__((visibility("default"))) int tarnhiveTestPluginAnswer() { return 42; }

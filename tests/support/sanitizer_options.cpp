// Defaults of the address sanitizer for all tests (no effect without it).

// An allocation that is too large answers null, as it does for users, instead of ending the test.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
    return "allocator_may_return_null=1";
}

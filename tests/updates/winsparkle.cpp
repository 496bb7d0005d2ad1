// Replaces the update library: appends its calls to the file that KVG_SPARKLE_CALLS names. Without
// KVG_WHOLE it lacks the last function.
#include <cstdio>
#include <cstdlib>

namespace {

template <typename... Arguments>
void record(const char *format, Arguments... arguments)
{
    if (std::FILE *const file = std::fopen(std::getenv("KVG_SPARKLE_CALLS"), "ab")) {
        std::fprintf(file, format, arguments...);
        std::fclose(file);
    }
}

} // namespace

// A function of the library, which records its arguments. One of them has a result.
#define KVG_FUNCTION(name, parameters, ...)                                                        \
    extern "C" __declspec(dllexport) int __cdecl win_sparkle_##name parameters                     \
    {                                                                                              \
        record(__VA_ARGS__);                                                                       \
        return 1;                                                                                  \
    }

KVG_FUNCTION(set_app_details, (const wchar_t *company, const wchar_t *name, const wchar_t *version),
             "details %ls, %ls, %ls\n", company, name, version)
KVG_FUNCTION(set_appcast_url, (const char *url), "feed %s\n", url)
KVG_FUNCTION(set_automatic_check_for_updates, (int on), "automatic %d\n", on)
KVG_FUNCTION(set_update_check_interval, (int seconds), "interval %d\n", seconds)
KVG_FUNCTION(set_dsa_pub_pem, (const char *pem), "key %s\n", pem)
KVG_FUNCTION(init, (), "init\n")
KVG_FUNCTION(check_update_with_ui, (), "check\n")
#ifdef KVG_WHOLE
KVG_FUNCTION(cleanup, (), "cleanup\n")
#endif

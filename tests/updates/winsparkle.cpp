// Stands for the update library: writes down what it is told, in the file that KVG_SPARKLE_CALLS
// names. Without KVG_WHOLE it lacks the last function.
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

#define KVG_EXPORT extern "C" __declspec(dllexport)

KVG_EXPORT void __cdecl win_sparkle_set_app_details(const wchar_t *company,
                                                    const wchar_t *application,
                                                    const wchar_t *version)
{
    record("details %ls, %ls, %ls\n", company, application, version);
}

KVG_EXPORT void __cdecl win_sparkle_set_appcast_url(const char *url)
{
    record("feed %s\n", url);
}

KVG_EXPORT void __cdecl win_sparkle_set_automatic_check_for_updates(int on)
{
    record("automatic %d\n", on);
}

KVG_EXPORT void __cdecl win_sparkle_set_update_check_interval(int seconds)
{
    record("interval %d\n", seconds);
}

KVG_EXPORT int __cdecl win_sparkle_set_dsa_pub_pem(const char *pem)
{
    record("key %s\n", pem);
    return 1;
}

KVG_EXPORT void __cdecl win_sparkle_init()
{
    record("init\n");
}

KVG_EXPORT void __cdecl win_sparkle_check_update_with_ui()
{
    record("check\n");
}

#ifdef KVG_WHOLE
KVG_EXPORT void __cdecl win_sparkle_cleanup()
{
    record("cleanup\n");
}
#endif

// Stands in for a program that does not end when asked to, or holds the file open that its argument
// names. Prints "ready" then.
#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>
#include <thread>

int main(int argc, char **argv)
{
    const std::string argument = argc > 1 ? argv[1] : "";
    if (argument == "--quit") {
        return 0;
    }
    const std::ifstream file(argument);
    std::puts("ready");
    std::fflush(stdout);
    std::this_thread::sleep_for(std::chrono::minutes(5));
}

// hostexec PROGRAM ARGUMENTS...: under Wine, runs a program of the Linux system and passes on its
// standard streams and its exit status. tools/wine/hostprograms.py starts the program.

#include <winsock2.h>

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

namespace {

constexpr int failure = 125; // the status of env(1) when it cannot run the program

// A packet: its kind, the length of its contents in network byte order, the contents.
constexpr int headerSize = 5;

[[noreturn]] void fail(const char *what)
{
    std::fprintf(stderr, "hostexec: %s\n", what);
    std::fflush(stderr);
    ExitProcess(failure); // does not wait for the thread that reads the input
}

void send(SOCKET socket, char kind, const std::string &contents = {})
{
    const u_long length = htonl(static_cast<u_long>(contents.size()));
    std::string packet(1, kind);
    packet.append(reinterpret_cast<const char *>(&length), sizeof(length));
    packet += contents;
    for (size_t sent = 0; sent < packet.size();) {
        const int now =
            ::send(socket, packet.data() + sent, static_cast<int>(packet.size() - sent), 0);
        if (now <= 0) {
            fail("the connection broke");
        }
        sent += static_cast<size_t>(now);
    }
}

std::string receive(SOCKET socket, size_t size)
{
    std::string data(size, '\0');
    for (size_t received = 0; received < size;) {
        const int now = recv(socket, &data[received], static_cast<int>(size - received), 0);
        if (now <= 0) {
            fail("the connection broke");
        }
        received += static_cast<size_t>(now);
    }
    return data;
}

void forwardInput(SOCKET socket)
{
    const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
    std::string buffer(1 << 16, '\0');
    DWORD size = 0;
    while (ReadFile(input, &buffer[0], static_cast<DWORD>(buffer.size()), &size, nullptr) != 0 &&
           size > 0) {
        send(socket, 'i', buffer.substr(0, size));
    }
    send(socket, 'e');
}

std::string utf8(const wchar_t *text)
{
    std::string result;
    const auto convert = [&] {
        return WideCharToMultiByte(CP_UTF8, 0, text, -1, &result[0],
                                   static_cast<int>(result.size()), nullptr, nullptr);
    };
    result.resize(static_cast<size_t>(convert()));
    convert();
    result.pop_back(); // the terminator
    return result;
}

} // namespace

int wmain(int argc, wchar_t *argv[])
{
    const char *const token = std::getenv("KVG_HOST_TOKEN");
    const char *const port = std::getenv("KVG_HOST_PORT");
    if (argc < 2 || token == nullptr || port == nullptr) {
        fail("start it in a test under tools/wine/wine.py, with a program as argument");
    }
    WSADATA data;
    if (WSAStartup(MAKEWORD(2, 2), &data) != 0) {
        fail("WSAStartup() failed");
    }
    const SOCKET socket = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<u_short>(std::atoi(port)));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(socket, reinterpret_cast<sockaddr *>(&address), sizeof(address)) != 0) {
        fail("cannot connect to hostprograms.py");
    }
    send(socket, 't', token);
    for (int i = 1; i < argc; ++i) {
        send(socket, 'a', utf8(argv[i]));
    }
    send(socket, 's');
    std::thread(forwardInput, socket).detach();
    for (;;) {
        const std::string header = receive(socket, headerSize);
        u_long length = 0;
        header.copy(reinterpret_cast<char *>(&length), sizeof(length), 1);
        const std::string contents = receive(socket, ntohl(length));
        if (header[0] == 'x') {
            ExitProcess(static_cast<UINT>(std::atoi(contents.c_str())));
        }
        const HANDLE output = GetStdHandle(header[0] == 'o' ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
        DWORD written = 0;
        WriteFile(output, contents.data(), static_cast<DWORD>(contents.size()), &written, nullptr);
    }
}

#pragma once

#include <httplib.h>

#include <string>

// One accepted connection, for the HTTP library. Used by one thread of the server. Owns the socket.
//
// The library rejects a request line of more than 8 KiB, but a gateway with thousands of devices
// sends a longer document in the query. So this class reads the line first: the library gets the
// target without an overlong query, and target() returns it whole.
class Connection : public httplib::Stream
{
public:
    explicit Connection(int socket);
    ~Connection() override;
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    // False on a timeout, and for a line that is longer than 1 MiB.
    bool readRequestLine();
    // The request's target, path and query. Empty when the line is no request line.
    const std::string &target() const { return m_target; }

    bool is_readable() const override;
    // Also false once the peer has closed the connection; a stream ends by this.
    bool is_writable() const override;
    ssize_t read(char *data, size_t size) override;
    ssize_t write(const char *data, size_t size) override;
    void get_remote_ip_and_port(std::string &ip, int &port) const override;
    void get_local_ip_and_port(std::string &ip, int &port) const override;
    socket_t socket() const override { return m_socket; }

private:
    bool waitFor(short events, short &got, int milliseconds) const;
    bool receiveMore();

    int m_socket;
    std::string m_buffer; // read up to m_position
    size_t m_position = 0;
    size_t m_received = 0;
    std::string m_target;
};

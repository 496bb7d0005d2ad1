#pragma once

#include <httplib.h>

#include <string>

// One accepted connection, as the HTTP library reads it. Used by one thread of the server. Closes
// the socket when it goes.
//
// The library refuses a request line of more than 8 KiB, while the document of a gateway with
// thousands of devices stands in the query. So the line is read here first, and the library gets
// the target without a query that is too long for it; target() has it whole.
class Connection : public httplib::Stream
{
public:
    explicit Connection(int socket);
    ~Connection() override;
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    // False when no request line comes, or one that is too long even for us.
    bool readRequestLine();
    // The request's target as it came: path and query. Empty when the line is no request line.
    const std::string &target() const { return m_target; }

    bool is_readable() const override;
    // False too once the other side has closed: that is how a stream without news notices.
    bool is_writable() const override;
    ssize_t read(char *data, size_t size) override;
    ssize_t write(const char *data, size_t size) override;
    void get_remote_ip_and_port(std::string &ip, int &port) const override;
    void get_local_ip_and_port(std::string &ip, int &port) const override;
    socket_t socket() const override { return m_socket; }

private:
    bool waitFor(short events, short &got, int milliseconds) const;
    bool fill();

    int m_socket;
    std::string m_buffer; // received, not read yet from m_position on
    size_t m_position = 0;
    size_t m_received = 0;
    std::string m_target;
};

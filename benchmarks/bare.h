/// A connection with nothing around it: the floor of what sessions cost.
#pragma once

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "zwmgmt/message.h"

inline constexpr size_t kLongestBareReply = 1u << 17;

[[noreturn]] inline void Die(const char* what) {
    std::fprintf(stderr, "benchmark: %s failed\n", what);
    std::exit(1);
}

/// A blocking socket, SSL_write and SSL_read.
struct Bare {
    Bare(SSL_CTX* context, uint32_t address, uint16_t port)
        : fd(socket(AF_INET, SOCK_STREAM, 0)), ssl(SSL_new(context)) {
        const int on = 1;
        setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
        sockaddr_in peer = {};
        peer.sin_family = AF_INET;
        peer.sin_port = htons(port);
        peer.sin_addr.s_addr = htonl(address);
        if (connect(fd, reinterpret_cast<sockaddr*>(&peer), sizeof(peer)) != 0) Die("connect");
        SSL_set_cipher_list(ssl, "AES256-SHA");
        SSL_set_fd(ssl, fd);
        if (SSL_connect(ssl) != 1) Die("SSL_connect");
        std::vector<uint8_t> opening(zwmgmt::kHeaderSize + sizeof(LoginRecord));
        reinterpret_cast<_Message*>(opening.data())->data_length = sizeof(LoginRecord);
        Write(opening);
        Read(reply.data(), zwmgmt::kHeaderSize);
    }
    ~Bare() {
        SSL_shutdown(ssl);
        SSL_free(ssl);
        close(fd);
    }
    void Write(const std::vector<uint8_t>& bytes) {
        if (SSL_write(ssl, bytes.data(), static_cast<int>(bytes.size())) <= 0) Die("SSL_write");
    }
    void Read(uint8_t* bytes, size_t length) {
        for (size_t got = 0; got < length;) {
            const int moved = SSL_read(ssl, bytes + got, static_cast<int>(length - got));
            if (moved <= 0) Die("SSL_read");
            got += static_cast<size_t>(moved);
        }
    }

    static SSL_CTX* Context() {
        SSL_CTX* context = SSL_CTX_new(TLS_client_method());
        SSL_CTX_set_read_ahead(context, 1);
        return context;
    }

    int fd;
    SSL* ssl;
    std::vector<uint8_t> reply = std::vector<uint8_t>(kLongestBareReply);
};

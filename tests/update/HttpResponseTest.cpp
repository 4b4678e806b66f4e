#include "update/HttpResponse.h"

#include <gtest/gtest.h>

namespace tallywick {
namespace {

using namespace std::string_literals;

/// What comes of an answer that is read in pieces: its body, of 16 bytes at most, or the name of
/// the failure; "…" behind a body that has not come to its end when the connection has.
std::string outcomeOf(const std::string& answer, std::size_t pieceSize) {
    std::string body;
    HttpResponse response(16, [&](std::string_view piece) {
        EXPECT_FALSE(piece.empty());
        body += piece;
        EXPECT_LE(body.size(), 16U) << "what goes beyond is not stored";
        return tl::expected<void, UpdateFailure>();
    });
    for (std::size_t at = 0; at < answer.size(); at += pieceSize) {
        if (const auto outcome = response.read(answer.substr(at, pieceSize)); !outcome)
            return std::string(name(outcome.error()));
    }
    const bool wasComplete = response.isComplete();
    if (const auto outcome = response.endOfInput(); !outcome)
        return std::string(name(outcome.error()));
    return wasComplete ? body : body + "…";
}

const std::string ok = "HTTP/1.1 200 OK\r\n";
const std::string chunked = ok + "Transfer-Encoding: chunked\r\n\r\n";
const std::string of4 = "Content-Length: 4\r\n";

TEST(HttpResponse, isReadAlikeInPiecesOfAnySize) {
    const struct {
        const char* outcome;
        std::string begin;
        std::vector<std::string> each;
        std::string end = "";
    } rows[] = {
        {"body",
         ok,
         {of4, "content-length:\t004 \r\n", of4 + of4, "Content-Encoding: Identity\r\n" + of4},
         "\r\nbody"},
        {"body", ok + of4, {"\r\nbody, and more"}},
        {"body",
         "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 Hints\r\nLink: x\r\n\r\n" + ok + of4,
         {"\r\nbody"}},
        {"body",
         chunked,
         {"1\r\nb\r\n003 ;x=\"y\"\r\nody\r\n", "4\r\nbody\r\n"},
         "0\r\nX: y\r\n\r\n"},
        {"", "HTTP/1.1 200\r\n", {"X:\r\nContent-Length: 0\r\n\r\n"}},
        {"body…", "", {ok, "HTTP/1.0 200 Fine\r\n"}, "\r\nbody"},
        {"0123456789abcdef", ok, {"Content-Length: 16\r\n\r\n0123456789abcdef"}},
        {"redirect", "HTTP/1.1 ", {"301", "302", "303", "307", "308"}, "\r\nlocation: /x\r\n\r\n"},

        {"server",
         "HTTP/1.1 ",
         {"301 Moved nowhere", "304 Not Modified\r\nLocation: /x", "101 x", "204 x", "206 x",
          "404 x", "500 x", "20 x", "2000 x"},
         "\r\n\r\nbody"},
        {"server", "", {"HTTP/2.0 200 OK", "SSH-2.0-OpenSSH_9.2", "<html>", ""}, "\r\n"},
        {"server",
         ok,
         {"Content-Encoding: gzip", of4 + "Content-Length: 5", "Content-Length: 4, 4",
          "Content-Length: +4", "Content-Length:", "Content-Length", "Content-Length : 4", ": x",
          "X: a\r" + of4, "X: a NUL\0"s, "X: folded\r\n b"},
         "\r\n\r\nbody"},
        {"server", "HTTP/1.1 200 OK\n\n", {""}},
        {"server",
         ok + "Transfer-Encoding: ",
         {"gzip, chunked\r\n", "chunked\r\nTransfer-Encoding: chunked\r\n", "chunked\r\n" + of4},
         "\r\n"},
        {"server", "HTTP/1.0 200 OK\r\n", {"Transfer-Encoding: chunked\r\n\r\n"}},
        {"server",
         chunked,
         {"x\r\n", "-1\r\n", "\r\n", "3\r\nbody\r\n", "4;" + std::string(300, 'x')}},

        {"oversized",
         ok,
         {"Content-Length: 17\r\n", "Content-Length: 18446744073709551616\r\n",
          "\r\n0123456789abcdef0"},
         "\r\n"},
        {"oversized", chunked, {"11\r\n", "8\r\n01234567\r\n9\r\n", "10000000000000000\r\n"}},

        {"offline", "", {"", ok + of4, ok + of4 + "\r\nbod", "HTTP/1.1 100 Continue\r\n\r\n"}},
        {"offline", chunked, {"5\r\nbody", "4\r\nbody\r\n", "4\r\nbody\r\n0\r\nX: y\r\n"}},
    };
    for (const auto& row : rows) {
        for (const std::string& variant : row.each) {
            const std::string answer = row.begin + variant + row.end;
            for (std::size_t size = 1; size <= answer.size() + 1; ++size)
                EXPECT_EQ(outcomeOf(answer, size), row.outcome)
                    << answer << " in pieces of " << size;
        }
    }
}

TEST(HttpResponse, hasALimitForAllItsHeaders) {
    constexpr std::size_t limit = HttpResponse::maximumHeadBytes;
    const std::string end = of4 + "\r\nbody";
    const auto padding = [](std::size_t size) {
        return "X: " + std::string(size - 5, 'x') + "\r\n";
    };
    const std::string longest = ok + padding(limit - ok.size() - of4.size() - 2);
    const std::string interim = "HTTP/1.1 103 Hints\r\n" + padding(limit / 2) + "\r\n";
    for (const std::size_t size : {std::size_t{1000}, 2 * limit}) {
        EXPECT_EQ(outcomeOf(longest + end, size), "body");
        EXPECT_EQ(outcomeOf(longest + "X" + end, size), "oversized");
        EXPECT_EQ(outcomeOf(ok + std::string(limit, 'x'), size), "oversized") << "a single line";
        EXPECT_EQ(outcomeOf(interim + interim + ok + end, size), "oversized");
        EXPECT_EQ(outcomeOf(chunked + "0\r\n" + padding(limit) + "\r\n", size), "oversized");
    }
}

} // namespace
} // namespace tallywick

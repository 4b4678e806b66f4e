#include "update/HttpResponse.h"

#include <gtest/gtest.h>

#include <map>

namespace tallywick {
namespace {

using namespace std::string_literals;

/// What comes of an answer that is read in pieces: its body, or the name of the failure; "…" behind
/// a body that has not come to its end when the connection has.
std::string outcomeOf(const std::string& answer, std::int64_t maximum, std::size_t pieceSize) {
    std::string body;
    HttpResponse response(maximum, [&](std::string_view piece) {
        EXPECT_FALSE(piece.empty());
        body += piece;
        return tl::expected<void, UpdateFailure>();
    });
    for (std::size_t at = 0; at < answer.size(); at += pieceSize) {
        if (const auto outcome = response.read(answer.substr(at, pieceSize)); !outcome)
            return std::string(name(outcome.error()));
    }
    const bool wasComplete = response.isComplete();
    if (const auto outcome = response.endOfInput(); !outcome)
        return std::string(name(outcome.error()));
    EXPECT_TRUE(response.isComplete());
    return wasComplete ? body : body + "…";
}

const std::string ok = "HTTP/1.1 200 OK\r\n";
const std::string chunked = ok + "Transfer-Encoding: chunked\r\n\r\n";
const std::string of4 = "Content-Length: 4\r\n";
const std::string toX = "Location: /x\r\n\r\n";

TEST(HttpResponse, isReadAlikeInPiecesOfAnySize) {
    const std::map<std::string, std::vector<std::string>> answers{
        {"body",
         {
             ok + of4 + "\r\nbody",
             ok + "content-length:\t004 \r\n\r\nbody, and more",
             ok + of4 + "content-length: 4\r\n\r\nbody",
             chunked + "1\r\nb\r\n003 ;x=\"y\"\r\nody\r\n0\r\n\r\n",
             chunked + "4\r\nbody\r\n0\r\nX: y\r\n\r\n",
             "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 Hints\r\nLink: x\r\n\r\n" + ok + of4
                 + "\r\nbody",
         }},
        {"", {"HTTP/1.1 200\r\nX:\r\nContent-Length: 0\r\n\r\n"}},
        {"body…", {ok + "Content-Encoding: Identity\r\n\r\nbody", "HTTP/1.0 200 Fine\r\n\r\nbody"}},
        {"0123456789abcdef", {ok + "Content-Length: 16\r\n\r\n0123456789abcdef"}},
        {"redirect",
         {
             "HTTP/1.1 301 Moved\r\nLocation: https://elsewhere.example/\r\n\r\n",
             "HTTP/1.1 302 Found\r\nlocation: /x\r\n\r\n",
             "HTTP/1.1 303 See Other\r\n" + toX,
             "HTTP/1.1 307 x\r\n" + toX,
             "HTTP/1.1 308 x\r\n" + toX,
         }},
        {"server",
         {
             "HTTP/1.1 301 Moved nowhere\r\n\r\n",
             "HTTP/1.1 304 Not Modified\r\n" + toX,
             "HTTP/1.1 204 No Content\r\n\r\n",
             "HTTP/1.1 206 Partial\r\n" + of4 + "\r\nbody",
             "HTTP/1.1 404 Not Found\r\n" + of4 + "\r\nbody",
             "HTTP/1.1 500 Oh\r\n\r\n",
             "HTTP/1.1 101 Switching\r\n\r\n",
             ok + "Content-Encoding: gzip\r\n" + of4 + "\r\nbody",
             ok + "Transfer-Encoding: gzip, chunked\r\n\r\n",
             ok + "Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n\r\n",
             ok + of4 + "Transfer-Encoding: chunked\r\n\r\n",
             "HTTP/1.0 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n",
             ok + of4 + "Content-Length: 5\r\n\r\nbody!",
             ok + "Content-Length: 4, 4\r\n\r\nbody",
             ok + "Content-Length: +4\r\n\r\nbody",
             ok + "Content-Length: -1\r\n\r\n",
             ok + "Content-Length:\r\n\r\n",
             "HTTP/2.0 200 OK\r\n\r\n",
             "SSH-2.0-OpenSSH_9.2\r\n",
             "<html>\r\n",
             "\r\n\r\n",
             "HTTP/1.1 20 OK\r\n\r\n",
             "HTTP/1.1 2000 OK\r\n\r\n",
             "HTTP/1.1 200 OK\n\n",
             ok + "X: a bare carriage return\rContent-Length: 4\r\n\r\n",
             ok + "X: a NUL\0\r\n\r\n"s,
             ok + "X: folded\r\n b\r\n\r\n",
             ok + "Content-Length : 4\r\n\r\n",
             ok + "Content-Length\r\n\r\n",
             ok + ": x\r\n\r\n",
             chunked + "x\r\n",
             chunked + "-1\r\n",
             chunked + "\r\n",
             chunked + "3\r\nbody\r\n",
             chunked + "4;" + std::string(300, 'x'),
         }},
        {"oversized",
         {
             ok + "Content-Length: 17\r\n\r\n",
             ok + "Content-Length: 18446744073709551616\r\n\r\n",
             ok + "\r\n0123456789abcdef0",
             chunked + "11\r\n",
             chunked + "8\r\n01234567\r\n9\r\n",
             chunked + "10000000000000000\r\n",
         }},
        {"offline",
         {
             "",
             ok + "Content-Length: 0\r\n",
             ok + "Content-Length: 5\r\n\r\nbody",
             "HTTP/1.1 100 Continue\r\n\r\n",
             chunked + "5\r\nbody",
             chunked + "4\r\nbody\r\n",
             chunked + "4\r\nbody\r\n0\r\nX: y\r\n",
         }},
    };
    constexpr std::int64_t maximum = 16;
    for (const auto& [outcome, rows] : answers) {
        for (const std::string& answer : rows) {
            for (std::size_t size = 1; size <= answer.size() + 1; ++size)
                EXPECT_EQ(outcomeOf(answer, maximum, size), outcome)
                    << answer << " in pieces of " << size;
        }
    }
}

TEST(HttpResponse, hasALimitForAllItsHeaders) {
    constexpr std::size_t limit = HttpResponse::maximumHeadBytes;
    const std::string end = of4 + "\r\n";
    const auto padding = [](std::size_t size) {
        return "X: " + std::string(size - 5, 'x') + "\r\n";
    };
    const auto padded = [&](std::size_t size) {
        return ok + padding(size - ok.size() - end.size()) + end + "body";
    };
    const std::string interim = "HTTP/1.1 103 Hints\r\n" + padding(limit / 2) + "\r\n";
    for (const std::size_t size : {std::size_t{1000}, 2 * limit}) {
        EXPECT_EQ(outcomeOf(padded(limit), 4, size), "body");
        EXPECT_EQ(outcomeOf(padded(limit + 1), 4, size), "oversized");
        EXPECT_EQ(outcomeOf(ok + std::string(limit, 'x'), 4, size), "oversized");
        EXPECT_EQ(outcomeOf(interim + ok + end + "body", 4, size), "body");
        EXPECT_EQ(outcomeOf(interim + interim + ok + end + "body", 4, size), "oversized");
        EXPECT_EQ(outcomeOf(chunked + "0\r\n" + padding(limit) + "\r\n", 4, size), "oversized");
    }
}

TEST(HttpResponse, endsWhenItsBodyIsNotTaken) {
    int asked = 0;
    HttpResponse response(100, [&](std::string_view) -> tl::expected<void, UpdateFailure> {
        ++asked;
        return tl::unexpected(UpdateFailure::disk);
    });
    EXPECT_EQ(response.read(chunked + "1\r\na\r\n1\r\nb\r\n"), tl::unexpected(UpdateFailure::disk));
    EXPECT_EQ(asked, 1);
}

} // namespace
} // namespace tallywick

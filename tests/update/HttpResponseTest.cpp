#include "update/HttpResponse.h"

#include <gtest/gtest.h>

namespace tallywick {
namespace {

using namespace std::string_literals;

/// What comes of an answer that is read in pieces: its body, or the name of the failure; "…" behind
/// a body that has not come to its end when the connection has.
std::string outcomeOf(const std::vector<std::string>& pieces, std::int64_t maximum) {
    std::string body;
    HttpResponse response(maximum, [&](std::string_view piece) {
        EXPECT_FALSE(piece.empty());
        body += piece;
        return tl::expected<void, UpdateFailure>();
    });
    for (const std::string& piece : pieces) {
        if (const auto outcome = response.read(piece); !outcome)
            return std::string(name(outcome.error()));
    }
    const bool wasComplete = response.isComplete();
    if (const auto outcome = response.endOfInput(); !outcome)
        return std::string(name(outcome.error()));
    EXPECT_TRUE(response.isComplete());
    return wasComplete ? body : body + "…";
}

std::vector<std::string> inPieces(const std::string& text, std::size_t size) {
    std::vector<std::string> pieces;
    for (std::size_t at = 0; at < text.size(); at += size)
        pieces.push_back(text.substr(at, size));
    return pieces;
}

const std::string ok = "HTTP/1.1 200 OK\r\n";
const std::string chunked = ok + "Transfer-Encoding: chunked\r\n\r\n";

TEST(HttpResponse, isReadAlikeInPiecesOfAnySize) {
    const struct {
        const char* what;
        std::string answer;
        std::string outcome;
    } rows[] = {
        {"a body of a known length", ok + "Content-Length: 4\r\n\r\nbody", "body"},
        {"and what follows it", ok + "content-length:\t004 \r\n\r\nbody, and more", "body"},
        {"the same length twice", ok + "Content-Length: 4\r\ncontent-length: 4\r\n\r\nbody",
         "body"},
        {"no words, a header without a value", "HTTP/1.1 200\r\nX:\r\nContent-Length: 0\r\n\r\n",
         ""},
        {"a body up to the end", ok + "Content-Encoding: Identity\r\n\r\nbody", "body…"},
        {"the first version", "HTTP/1.0 200 Fine\r\n\r\nbody", "body…"},
        {"in chunks", chunked + "1\r\nb\r\n003 ;x=\"y\"\r\nody\r\n0\r\n\r\n", "body"},
        {"with trailers", chunked + "4\r\nbody\r\n0\r\nX: y\r\n\r\n", "body"},
        {"after interim answers",
         "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 Hints\r\nLink: x\r\n\r\n" + ok
             + "Content-Length: 4\r\n\r\nbody",
         "body"},
        {"as long as allowed", ok + "Content-Length: 16\r\n\r\n0123456789abcdef",
         "0123456789abcdef"},

        {"moved", "HTTP/1.1 301 Moved\r\nLocation: https://elsewhere.example/\r\n\r\n", "redirect"},
        {"found, at the same host", "HTTP/1.1 302 Found\r\nlocation: /x\r\n\r\n", "redirect"},
        {"see other", "HTTP/1.1 303 See Other\r\nLocation: /x\r\n\r\n", "redirect"},
        {"temporary", "HTTP/1.1 307 x\r\nLocation: /x\r\n\r\n", "redirect"},
        {"permanent", "HTTP/1.1 308 x\r\nLocation: /x\r\n\r\n", "redirect"},
        {"moved nowhere", "HTTP/1.1 301 Moved\r\n\r\n", "server"},
        {"not modified", "HTTP/1.1 304 Not Modified\r\nLocation: /x\r\n\r\n", "server"},
        {"no content", "HTTP/1.1 204 No Content\r\n\r\n", "server"},
        {"a part", "HTTP/1.1 206 Partial\r\nContent-Length: 4\r\n\r\nbody", "server"},
        {"not found", "HTTP/1.1 404 Not Found\r\nContent-Length: 4\r\n\r\nbody", "server"},
        {"an error", "HTTP/1.1 500 Oh\r\n\r\n", "server"},
        {"another protocol", "HTTP/1.1 101 Switching\r\n\r\n", "server"},
        {"compressed", ok + "Content-Encoding: gzip\r\nContent-Length: 4\r\n\r\nbody", "server"},
        {"compressed in transfer", ok + "Transfer-Encoding: gzip, chunked\r\n\r\n", "server"},
        {"chunked twice", ok + "Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n\r\n",
         "server"},
        {"in chunks and of a length",
         ok + "Content-Length: 4\r\nTransfer-Encoding: chunked\r\n\r\n", "server"},
        {"in chunks in the first version", "HTTP/1.0 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n",
         "server"},
        {"two lengths", ok + "Content-Length: 4\r\nContent-Length: 5\r\n\r\nbody!", "server"},
        {"two lengths in one line", ok + "Content-Length: 4, 4\r\n\r\nbody", "server"},
        {"a length with a sign", ok + "Content-Length: +4\r\n\r\nbody", "server"},
        {"a length below nothing", ok + "Content-Length: -1\r\n\r\n", "server"},
        {"a length that is none", ok + "Content-Length:\r\n\r\n", "server"},
        {"another version", "HTTP/2.0 200 OK\r\n\r\n", "server"},
        {"another protocol's greeting", "SSH-2.0-OpenSSH_9.2\r\n", "server"},
        {"an old server's answer", "<html>\r\n", "server"},
        {"no head", "\r\n\r\n", "server"},
        {"a status of two digits", "HTTP/1.1 20 OK\r\n\r\n", "server"},
        {"a status of four digits", "HTTP/1.1 2000 OK\r\n\r\n", "server"},
        {"bare line feeds", "HTTP/1.1 200 OK\n\n", "server"},
        {"a bare carriage return", ok + "X: a\rContent-Length: 4\r\n\r\n", "server"},
        {"a NUL", ok + "X: a\0b\r\n\r\n"s, "server"},
        {"a folded header", ok + "X: a\r\n b\r\n\r\n", "server"},
        {"a blank before the colon", ok + "Content-Length : 4\r\n\r\n", "server"},
        {"a header without a colon", ok + "Content-Length\r\n\r\n", "server"},
        {"a header without a name", ok + ": x\r\n\r\n", "server"},
        {"a chunk size that is none", chunked + "x\r\n", "server"},
        {"a chunk size with a sign", chunked + "-1\r\n", "server"},
        {"an empty chunk size", chunked + "\r\n", "server"},
        {"a chunk that is too long for its size", chunked + "3\r\nbody\r\n", "server"},
        {"an endless chunk extension", chunked + "4;" + std::string(300, 'x'), "server"},

        {"a byte more than allowed", ok + "Content-Length: 17\r\n\r\n", "oversized"},
        {"a length beyond 64 bits", ok + "Content-Length: 18446744073709551616\r\n\r\n",
         "oversized"},
        {"a byte more, unannounced", ok + "\r\n0123456789abcdef0", "oversized"},
        {"a byte more in a chunk", chunked + "11\r\n", "oversized"},
        {"a byte more in the second chunk", chunked + "8\r\n01234567\r\n9\r\n", "oversized"},
        {"a chunk beyond 64 bits", chunked + "10000000000000000\r\n", "oversized"},

        {"nothing", "", "offline"},
        {"a cut head", ok + "Content-Length: 0\r\n", "offline"},
        {"a cut body", ok + "Content-Length: 5\r\n\r\nbody", "offline"},
        {"an interim answer alone", "HTTP/1.1 100 Continue\r\n\r\n", "offline"},
        {"a cut chunk", chunked + "5\r\nbody", "offline"},
        {"no last chunk", chunked + "4\r\nbody\r\n", "offline"},
        {"no end of the trailers", chunked + "4\r\nbody\r\n0\r\nX: y\r\n", "offline"},
    };
    constexpr std::int64_t maximum = 16;
    for (const auto& row : rows) {
        for (std::size_t size = 1; size <= row.answer.size(); ++size)
            EXPECT_EQ(outcomeOf(inPieces(row.answer, size), maximum), row.outcome)
                << row.what << ", in pieces of " << size;
        EXPECT_EQ(outcomeOf({row.answer}, maximum), row.outcome) << row.what;
    }
}

TEST(HttpResponse, hasALimitForAllItsHeaders) {
    constexpr std::size_t limit = HttpResponse::maximumHeadBytes;
    const std::string end = "Content-Length: 4\r\n\r\n";
    const auto padding = [](std::size_t size) {
        return "X: " + std::string(size - 5, 'x') + "\r\n";
    };
    const auto padded = [&](std::size_t size) {
        return ok + padding(size - ok.size() - end.size()) + end + "body";
    };
    EXPECT_EQ(outcomeOf({padded(limit)}, 4), "body");
    EXPECT_EQ(outcomeOf({padded(limit + 1)}, 4), "oversized");
    EXPECT_EQ(outcomeOf(inPieces(ok + std::string(limit, 'x'), 1000), 4), "oversized");

    const std::string interim = "HTTP/1.1 103 Hints\r\n" + padding(limit / 2) + "\r\n";
    EXPECT_EQ(outcomeOf({interim + ok + end + "body"}, 4), "body");
    EXPECT_EQ(outcomeOf({interim + interim + ok + end + "body"}, 4), "oversized");
    EXPECT_EQ(outcomeOf({chunked + "0\r\n" + padding(limit) + "\r\n"}, 4), "oversized");
}

TEST(HttpResponse, endsWhenItsBodyIsNotTaken) {
    int asked = 0;
    HttpResponse response(100, [&](std::string_view) -> tl::expected<void, UpdateFailure> {
        ++asked;
        return tl::unexpected(UpdateFailure::disk);
    });
    const auto outcome = response.read(chunked + "1\r\na\r\n1\r\nb\r\n");
    ASSERT_FALSE(outcome);
    EXPECT_EQ(outcome.error(), UpdateFailure::disk);
    EXPECT_EQ(asked, 1);
}

} // namespace
} // namespace tallywick

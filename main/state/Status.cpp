#include "state/Status.h"

#include "state/NumberTexts.h"

namespace tallywick {

Status Status::live(Timestamp observedAt) {
    Status status(Kind::live);
    status.readAt = observedAt;
    return status;
}

Status Status::stale(Timestamp observedAt, std::optional<ConnectionIssue> issue) {
    Status status(Kind::stale);
    status.readAt = observedAt;
    status.issue = issue;
    return status;
}

Status Status::failed(ConnectionIssue issue) {
    Status status(Kind::failed);
    status.issue = issue;
    return status;
}

bool Status::describesReading() const {
    return kind == Kind::live || kind == Kind::stale || kind == Kind::retrying
           || kind == Kind::withoutAllowance;
}

bool Status::isOverdue(Timestamp now) const {
    constexpr Timestamp longestAge = 120;
    constexpr Timestamp clockTolerance = 5;
    return isLive() && (now - readAt > longestAge || readAt - now > clockTolerance);
}

std::string Status::text() const {
    switch (kind) {
    case Kind::findingCodex:
        return "Finding Codex…";
    case Kind::codexNotFound:
        return "Codex not found · Choose it in Settings";
    case Kind::live:
        return "LIVE · Synced " + shortTime(readAt);
    case Kind::withoutAllowance:
        return "Connected · Weekly allowance unavailable";
    case Kind::stale:
        return "STALE · Last synced " + shortTime(readAt)
               + (issue ? std::string(" · ").append(sentence(*issue)) : "");
    case Kind::retrying:
        return "STALE · Retrying Codex connection…";
    case Kind::failed:
        return issue ? std::string(sentence(*issue)) : "";
    case Kind::reloading:
        return "CONNECTING · Reloading saved Codex sign-in…";
    case Kind::preparingSignIn:
        return "CONNECTING · Preparing your requested browser sign-in…";
    case Kind::waitingForSignIn:
        return "CONNECTING · Complete sign-in in your browser (up to 10 minutes).";
    case Kind::signInCancelled:
        return "Sign-in cancelled. Your Codex account was not logged out.";
    }
    return {};
}

std::string_view Status::badge(bool loginPending) const {
    switch (kind) {
    case Kind::live:
        return "LIVE";
    case Kind::stale:
    case Kind::retrying:
        return "STALE";
    case Kind::findingCodex:
    case Kind::reloading:
    case Kind::preparingSignIn:
    case Kind::waitingForSignIn:
        return "CONNECTING";
    case Kind::codexNotFound:
    case Kind::withoutAllowance:
    case Kind::failed:
    case Kind::signInCancelled:
        return loginPending ? "CONNECTING" : "STATUS";
    }
    return {};
}

} // namespace tallywick

#include "codex/ConnectionIssue.h"

#include "codex/HelperProtocol.h"

#include <QRegularExpression>
#include <QString>

#include <algorithm>
#include <cmath>
#include <initializer_list>

namespace tallywick {

namespace {

struct Texts {
    std::string_view rawValue;
    std::string_view sentence;
};

Texts textsOf(ConnectionIssue issue) {
    switch (issue) {
    case ConnectionIssue::missingHelper:
        return {"missingHelper", "Codex not found. Install Codex or choose its app in Settings."};
    case ConnectionIssue::incompatible:
        return {"incompatible", "This Codex helper is incompatible. Update Codex or choose another "
                                "installation."};
    case ConnectionIssue::signedOut:
        return {"signedOut",
                "No saved Codex sign-in. Sign in through Codex or use Sign in in Browser."};
    case ConnectionIssue::authentication:
        return {"authentication",
                "Codex sign-in needs attention. Retry Connection or sign in through Codex."};
    case ConnectionIssue::externalSession:
        return {"externalSession", "This session is managed by another Codex client. Refresh it "
                                   "there, then Retry Connection."};
    case ConnectionIssue::unsupportedAccount:
        return {"unsupportedAccount",
                "This account/provider does not report a ChatGPT weekly allowance."};
    case ConnectionIssue::forbidden:
        return {"forbidden",
                "Codex denied permission (403). Check your account or organization access."};
    case ConnectionIssue::throttled:
        return {"throttled",
                "Codex is temporarily rate-limiting requests (429). Retrying with backoff."};
    case ConnectionIssue::offline:
        return {"offline",
                "Cannot reach Codex usage service. Check your connection; retrying shortly."};
    case ConnectionIssue::timeout:
        return {"timeout", "Codex took too long to respond. Retrying shortly."};
    case ConnectionIssue::stopped:
        return {"stopped", "Codex helper stopped. Retrying shortly."};
    case ConnectionIssue::invalidResponse:
        return {"invalidResponse",
                "Codex returned an unsupported response. Update Codex or Retry Connection."};
    }
    return {};
}

bool mentions(const QString& message, std::initializer_list<const char*> keywords) {
    return std::any_of(keywords.begin(), keywords.end(), [&](const char* keyword) {
        return message.contains(QLatin1String(keyword));
    });
}

/// Whether a message says that nothing has reached the service: a request could not be sent, or
/// finding or connecting to it timed out.
bool tellsOfNoWay(const QString& message) {
    return mentions(message, {"error sending request", "failed to send", "could not send",
                              "could not be sent"})
           || (mentions(message, {"discovery", "connect"})
               && mentions(message, {"timed out", "timeout"}));
}

/// Helpers give some failures a code and others only a message that mentions one, so both count.
/// But a number in a message that tells of no way to the service is none of its answers: it may
/// stand in the address that was tried.
ConnectionIssue classifyErrorResponse(const BridgeFailure& failure) {
    const QString message = QString::fromStdString(failure.message()).toLower();
    const bool noWay = tellsOfNoWay(message);
    const auto matches = [&](int number) {
        const QString pattern = QStringLiteral("(?<![0-9])%1(?![0-9])").arg(number);
        return failure.code() == number
               || (!noWay && message.contains(QRegularExpression(pattern)));
    };

    if (matches(403))
        return ConnectionIssue::forbidden;
    if (matches(429))
        return ConnectionIssue::throttled;
    if (failure.code() == methodNotFound)
        return ConnectionIssue::incompatible;
    if (matches(401))
        return ConnectionIssue::authentication;
    if (noWay)
        return ConnectionIssue::offline;
    if (mentions(message, {"token expired", "refresh token", "not authenticated"}))
        return ConnectionIssue::authentication;
    if (mentions(message, {"network", "connect", "dns"}))
        return ConnectionIssue::offline;
    return ConnectionIssue::invalidResponse;
}

ConnectionIssue classifyFailure(const BridgeFailure& failure) {
    switch (failure.kind()) {
    case BridgeFailure::Kind::rpcError:
        return classifyErrorResponse(failure);
    case BridgeFailure::Kind::invalidExecutable:
        return ConnectionIssue::missingHelper;
    case BridgeFailure::Kind::closed:
        return ConnectionIssue::stopped;
    case BridgeFailure::Kind::timeout:
        return ConnectionIssue::timeout;
    case BridgeFailure::Kind::protocolError:
    case BridgeFailure::Kind::oversizedResponse:
        break;
    }
    return ConnectionIssue::invalidResponse;
}

} // namespace

std::string_view sentence(ConnectionIssue issue) { return textsOf(issue).sentence; }

std::string_view rawValue(ConnectionIssue issue) { return textsOf(issue).rawValue; }

ConnectionIssue classify(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (ConnectionIssue issue) {
        return issue;
    } catch (const BridgeFailure& failure) {
        return classifyFailure(failure);
    } catch (...) {
        return ConnectionIssue::stopped;
    }
}

// How often is tried again

bool RecoveryPolicy::claim(Timestamp now) {
    MutexLock lock(mutex);
    if (lastAttempt && std::abs(now - *lastAttempt) < cooldown)
        return false;
    lastAttempt = now;
    return true;
}

double retryDelay(std::int64_t failures) {
    constexpr double first = 15;
    constexpr double longest = 300;
    const auto doublings = std::clamp<std::int64_t>(failures, 1, 6) - 1;
    return std::min(std::ldexp(first, static_cast<int>(doublings)), longest);
}

// What the user may show to others

std::string ConnectionDetails::copyText(const std::optional<std::string>& appVersion) const {
    std::string text = "Corvane Mac " + appVersion.value_or("test");
    text += "\nCodex: " + helperVersion;
    text += "\nHelper: " + location;
    text += "\nStage: " + stage;
    text += "\nResult: " + category;
    text += "\nAuth mode: " + authMode;
    text += "\nRecovery: " + recovery;
    text += "\nOptional activity: " + tokens;
    return text;
}

std::string maskedLocation(const std::filesystem::path& executable,
                           const std::filesystem::path& homeFolder) {
    const std::string& path = executable.native();
    if (path.starts_with("/Applications/"))
        return "/Applications/<Codex app>/…/codex";
    if (path.starts_with((homeFolder / "Applications" / "").native()))
        return "~/Applications/<Codex app>/…/codex";
    if (path.starts_with("/opt/homebrew/"))
        return "/opt/homebrew/…/codex";
    if (path.starts_with("/usr/local/"))
        return "/usr/local/…/codex";
    return "<user-selected or IDE installation>/…/codex";
}

} // namespace tallywick

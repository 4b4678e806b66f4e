#include "codex/SignInLink.h"

#include <QLatin1String>
#include <QUrl>

#include <algorithm>

namespace tallywick {

namespace {

bool isSignInHost(std::string_view host) {
    const QLatin1String text(host.data(), static_cast<qsizetype>(host.size()));
    return text.compare(QLatin1String("auth.openai.com"), Qt::CaseInsensitive) == 0
           || text.compare(QLatin1String("chatgpt.com"), Qt::CaseInsensitive) == 0;
}

/// Printable ASCII, less what browsers take for something else ('\\') or what begins a fragment.
bool mayStandInLink(char c) { return c > ' ' && c <= '~' && c != '\\' && c != '#'; }

} // namespace

// The rules are about the text itself. QUrl alone would forgive too much: it lower-cases the scheme
// and drops an empty user, port or fragment.
std::optional<std::string> signInLink(std::string_view text) {
    constexpr std::string_view scheme = "https://";
    if (text.size() > maximumSignInLinkBytes || !text.starts_with(scheme)
        || !std::all_of(text.begin(), text.end(), mayStandInLink))
        return std::nullopt;

    // Nothing but the host may stand before the path: no user, no password, no port.
    const std::string_view afterScheme = text.substr(scheme.size());
    if (!isSignInHost(afterScheme.substr(0, afterScheme.find_first_of("/?"))))
        return std::nullopt;

    std::string link(text);
    if (!QUrl(QString::fromStdString(link), QUrl::StrictMode).isValid())
        return std::nullopt;
    return link;
}

} // namespace tallywick

#pragma once

#include "base/Json.h"
#include "sample-helper/Scenario.h"

namespace tallywick::sample {

/// The results of the methods that read, as a helper writes them: with members beside those that
/// anybody needs.

/// "account/read" for the account, or for nobody when it is null.
Json accountResult(const SampleAccount* account);

/// "account/read" for a session that holds an API key.
Json apiKeyResult();

/// "account/rateLimits/read".
Json rateLimitsResult(const SampleAccount& account, const Scenario& scenario, Second now);

/// "account/usage/read".
Json usageResult(const SampleAccount& account, Second now);

} // namespace tallywick::sample

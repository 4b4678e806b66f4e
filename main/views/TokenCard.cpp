#include "views/TokenCard.h"

#include "codex/AccountAnswers.h"
#include "state/NumberTexts.h"

namespace tallywick {

void TokenCard::present(std::string_view title, std::optional<std::int64_t> count,
                        std::string_view tokenStatus) {
    const CardContent content{
        QString::fromUtf8(title), QString::fromStdString(compactTokenCount(count)), {}};
    describe(content.title, content.value,
             QString::fromStdString(tokenTooltip(tokenStatus, count)));
    setContent(content);
}

} // namespace tallywick

#include "NimbeEngine/Text/EmailComposer.h"

#include "Foundation/Text.h"
#include "NimbeEngine/Text/EmailBodyFormatter.h"
#include "NimbeEngine/Text/SpokenStructure.h"

namespace nimbe {

std::string EmailComposer::compose(
    std::string_view recipientName, std::string_view body, std::string_view signatureName) {
    const auto recipient = text::trimmed(recipientName);
    const auto signature = text::trimmed(signatureName);

    std::string email = "Hi";
    if (!recipient.empty()) email.append(" ").append(recipient);
    email.append(",\n\n");
    email.append(formatSpokenStructure(EmailBodyFormatter::stripGreetingAndSignOff(body)));
    email.append("\n\nThanks,");
    if (!signature.empty()) email.append("\n").append(signature);
    return email;
}

} // namespace nimbe

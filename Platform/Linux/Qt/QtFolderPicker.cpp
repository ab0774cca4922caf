#include "PlatformQt/QtFolderPicker.h"

#include <QtWidgets/QFileDialog>

namespace nimbe {

QtFolderPicker::QtFolderPicker(MainActor& actor) : actor(actor) {}

QtFolderPicker::~QtFolderPicker() = default;

Task<std::optional<std::filesystem::path>> QtFolderPicker::chooseFolder() {
    using Choice = std::optional<std::filesystem::path>;
    const Completion<Choice> chosen(actor);
    dialog = std::make_unique<QFileDialog>();
    auto& opened = *dialog;
    const auto* own = dialog.get();
    opened.setWindowTitle(QStringLiteral("Export dictations to"));
    opened.setFileMode(QFileDialog::Directory);
    opened.setOption(QFileDialog::ShowDirsOnly);
    // Also when it is closed, or destroyed by the next one.
    QObject::connect(&opened, &QDialog::finished, &opened, [&opened, chosen](int result) {
        const auto files = opened.selectedFiles();
        if (result != QDialog::Accepted || files.isEmpty())
            chosen.complete(std::nullopt);
        else
            chosen.complete(std::filesystem::path(files.first().toStdString()));
    });
    QObject::connect(&opened, &QObject::destroyed, [chosen] { chosen.complete(std::nullopt); });
    opened.open();
    Choice choice = co_await chosen;
    if (dialog.get() == own) dialog.reset();
    co_return choice;
}

} // namespace nimbe

#include <QtGui/QAction>
#include <QtWidgets/QApplication>
#include <QtWidgets/QMainWindow>
#include <QtWidgets/QMenuBar>
#include <QtWidgets/QPlainTextEdit>
#include <chrono>
#include <cstdio>

// A plain editor that tells when its text changes: "changed TIME LENGTH", the time in
// seconds on the monotonic clock.

int main(int count, char** arguments) {
    QApplication application(count, arguments);
    QMainWindow window;
    window.setWindowTitle("Timed Editor");
    window.menuBar()->addMenu("&File")->addAction("&Quit");
    auto* editor = new QPlainTextEdit(&window);
    window.setCentralWidget(editor);
    QObject::connect(editor, &QPlainTextEdit::textChanged, [editor] {
        const auto time = std::chrono::steady_clock::now().time_since_epoch();
        std::printf("changed %.6f %d\n", std::chrono::duration<double>(time).count(),
            static_cast<int>(editor->toPlainText().size()));
        std::fflush(stdout);
    });
    window.resize(700, 400);
    window.show();
    editor->setFocus();
    return QApplication::exec();
}

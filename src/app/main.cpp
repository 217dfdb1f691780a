// The Quelvari editor. A file named on the command line is opened at start.
#include <QApplication>
#include <QIcon>
#include <QTimer>

#include "app/main_window.h"
#include "app/procedure_view.h"

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Quelvari"));
    QApplication::setOrganizationName(QStringLiteral("Local AppWizard-Generated Applications"));
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/icons/quelvari.svg")));
    quelvari::app::MainWindow window;
    window.show();
    const QStringList args = QApplication::arguments();
    if (args.size() > 1)
        window.openPath(args.at(1));
    // For start-up measurements: quit once the view has painted.
    if (qEnvironmentVariableIsSet("QUELVARI_QUIT_AFTER_PAINT"))
        QObject::connect(window.view(), &quelvari::app::ProcedureView::painted, &app,
                         &QApplication::quit, Qt::QueuedConnection);
    return app.exec();
}

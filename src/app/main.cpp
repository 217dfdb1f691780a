// The Quelvari editor. A file named on the command line is opened at start.
#include <QApplication>
#include <QIcon>
#include <QStyle>

#include "app/editor_extras.h"
#include "app/editor_style.h"
#include "app/first_frame.h"
#include "app/main_window.h"
#include "app/procedure_view.h"
#include "render/resources.h"

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Quelvari"));
    QApplication::setOrganizationName(QStringLiteral("Local AppWizard-Generated Applications"));
    quelvari::render::InitResources();
    QApplication::setStyle(new quelvari::app::EditorStyle(QApplication::style()->name()));
    QApplication::setWindowIcon(quelvari::render::Icon(QStringLiteral("quelvari")));
    quelvari::app::MainWindow window;
    window.show();
    // A session that did not end left its recovery copy: offer it first.
    window.extras()->offerRecovery();
    // The file name is taken as the bytes the system gives (QApplication has
    // removed its own options from argv): a name that is not UTF-8 would not
    // survive a round trip through QString.
    if (argc > 1)
        window.openNativePath(argv[1]);
    // For start-up measurements: once the first frame (the view and all
    // that is painted with it) is done, say when on the monotonic clock and
    // quit.
    if (qEnvironmentVariableIsSet("QUELVARI_QUIT_AFTER_PAINT"))
        QObject::connect(
            window.view(), &quelvari::app::ProcedureView::painted, &app,
            [] { quelvari::app::SayFirstFrameAndQuit(); }, Qt::QueuedConnection);
    return app.exec();
}

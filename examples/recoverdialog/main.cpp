#include "mainwindow.h"

#include <QApplication>

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    MainWindow window;
    if (argc > 1) {
        window.openBackup(QApplication::arguments().at(1));
    }
    window.show();
    return QApplication::exec();
}

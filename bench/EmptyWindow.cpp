// An empty window of the installer's size, as little as Qt does: what WindowBench measures against.
#include <QApplication>
#include <QWidget>

int main(int count, char** arguments) {
    const QApplication application(count, arguments);
    QWidget window;
    window.setFixedSize(780, 570);
    window.move(110, 75);
    window.show();
    return QApplication::exec();
}

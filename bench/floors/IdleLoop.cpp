#include <QCoreApplication>

#include <csignal>

#include <unistd.h>

// A Qt program that does nothing until it is asked to end.
int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    std::signal(SIGTERM, [](int) { ::_exit(0); });
    return QCoreApplication::exec();
}

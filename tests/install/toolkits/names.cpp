// SPDX-License-Identifier: MIT

// Prints the names of the list once they are there, from a program of Qt without a window.

#include <QCoreApplication>
#include <iostream>

#include "adapters/qt/ListModel.h"

using applist::qt::ListModel;

static void PrintNames(const ListModel& list) {
    for (int row = 0; row < list.rowCount(); ++row) {
        std::cout << list.index(row).data().toString().toStdString() << std::endl;
    }
}

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    ListModel list;
    QObject::connect(&list, &ListModel::loadingChanged, [&list] {
        if (list.isLoading()) return;
        PrintNames(list);
        QCoreApplication::quit();
    });
    return QCoreApplication::exec();
}

#include "mainwindow.h"
#include "ui_mainwindow.h"

MainWindow::MainWindow(QWidget *parent) : QMainWindow(parent), ui(std::make_unique<Ui::MainWindow>()) {
    ui->setupUi(this);
    setWindowTitle(QStringLiteral("Vortane Quillar (%1)").arg(ApplicationVersion));
}

MainWindow::~MainWindow() = default;

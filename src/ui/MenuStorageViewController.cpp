#include "MenuStorageViewController.h"

#include "StorageBox.h"

MenuStorageViewController::MenuStorageViewController(QWidget* parent)
    : QWidget(parent), storageBox_(new StorageBox(this)) {
    setFixedSize(kWidth, kHeight);
    storageBox_->drawsTitle = false;
    storageBox_->drawsSeparator = false;
    storageBox_->setGeometry(0, 0, kWidth, kHeight);
}

void MenuStorageViewController::showEvent(QShowEvent*) {
    storageBox_->reloadData();
}

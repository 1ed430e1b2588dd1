#pragma once

#include <QString>

/// What a backup says about the device that it was made of; empty where it says nothing.
struct DeviceInfo
{
    QString name;
    QString model;
    QString systemVersion;
    QString backupDate; ///< ISO 8601, UTC
};

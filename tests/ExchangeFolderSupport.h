#pragma once

#include "QDTiv.h"

#include <string>

// QDString to std::string; the null string becomes the empty one.
inline std::string toStd(const QDString& s)
{
    return s.isNull() ? std::string() : s.c_str();
}

// Points the exchange folder tree at a test folder for the life of a test, so
// that unit tests never touch the shared sandbox root.
class ExchangeFolderOverride
{
public:
    explicit ExchangeFolderOverride(const std::string& root)
        : m_public(QDTiv::s_publicFolder), m_apps(QDTiv::s_TivAppsFolder),
          m_morvel(QDTiv::s_TivMorvelFolder), m_projects(QDTiv::s_TivProjectsFolder),
          m_default(QDTiv::s_TivDefaultProjectFolder)
    {
        QDTiv::s_publicFolder = root.c_str();
        QDTiv::s_TivAppsFolder = (root + "/TivApps").c_str();
        QDTiv::s_TivMorvelFolder = (root + "/TivMorvel").c_str();
        QDTiv::s_TivProjectsFolder = (root + "/TivProjects").c_str();
        QDTiv::s_TivDefaultProjectFolder = (root + "/TivProjects/Default").c_str();
    }

    ~ExchangeFolderOverride()
    {
        QDTiv::s_publicFolder = m_public;
        QDTiv::s_TivAppsFolder = m_apps;
        QDTiv::s_TivMorvelFolder = m_morvel;
        QDTiv::s_TivProjectsFolder = m_projects;
        QDTiv::s_TivDefaultProjectFolder = m_default;
    }

    ExchangeFolderOverride(const ExchangeFolderOverride&) = delete;
    ExchangeFolderOverride& operator=(const ExchangeFolderOverride&) = delete;

private:
    QDString m_public, m_apps, m_morvel, m_projects, m_default;
};

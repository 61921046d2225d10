#include "Plumtide/app/Notifier.h"

#include "Plumtide/desktop/NotificationService.h"

Notifier::Notifier(std::unique_ptr<NotificationService> service)
    : m_service(std::move(service)), m_available(m_service->isAvailable())
{
}

Notifier::~Notifier() = default;

Notifier &Notifier::shared()
{
    // Never freed: nobody can know who notifies last.
    static auto *const notifier = new Notifier(std::make_unique<NotificationService>());
    return *notifier;
}

void Notifier::notify(const QString &title, const QString &body, const QString &id)
{
    if (m_available)
        m_service->post({id, title, body});
}

void Notifier::setActivated(std::function<void(const QString &id)> activated)
{
    m_service->setActivated(std::move(activated));
}

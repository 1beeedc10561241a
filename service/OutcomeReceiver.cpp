#include "OutcomeReceiver.h"

namespace service {

OutcomeReceiver::OutcomeReceiver() : m_handle(std::make_shared<OutcomeReceiver*>(this)) {}

OutcomeReceiver::~OutcomeReceiver()
{
    *m_handle = nullptr;
}

} // namespace service

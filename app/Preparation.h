#pragma once

namespace app {

/// Has what the first requests need made ready on other processors, where an account elsewhere is in use: the password,
/// the HTTP library, the store. It slows the face down, so it comes after the face where that has hours to show. At the
/// first start people wait for the day, and it begins as early as each part can.
///
/// Main thread, in a run. The constructor and `beforeApplication` need no application object.
class Preparation
{
public:
    /// `keepsTimeHere`: with the built-in service, which has its own way.
    explicit Preparation(bool keepsTimeHere);

    /// Whether this start has a day to fetch before it can show any.
    bool isFirstStart() const { return m_when == When::Early; }

    // In this order; each does nothing at another kind of start.

    void beforeApplication() const;
    /// Needs the controller, which has the store.
    void beforeFace() const;
    void afterFace() const;

private:
    enum class When
    {
        Never,
        Early,
        Late
    };
    const When m_when;
};

} // namespace app

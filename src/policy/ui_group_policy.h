#pragma once

#include "policy/group_policy.h"

// The permissions of the current user, from the "Allow" values of the user's policy key. The machine's policy does not
// change them.
class CUiGP final : public CGP {
public:
    CUiGP() noexcept;
    CUiGP(const CUiGP&) = delete;
    CUiGP(CUiGP&&) = delete;
    ~CUiGP() override;
    CUiGP& operator=(const CUiGP&) = delete;
    CUiGP& operator=(CUiGP&&) = delete;

    // Grants every permission but zeroing free space, which stays as it is.
    void SetDefaults() noexcept;

    void OnMachinePolicyChanged(int refresh) noexcept override;

    // Reads the values again. Without a policy key nothing changes; with one, a value that is missing or no DWORD
    // grants its permission, and of all numbers only 1 does.
    void OnUserPolicyChanged(int refresh) noexcept override;
};

// SPDX-FileCopyrightText: 2026 The Ullage authors
// SPDX-License-Identifier: Apache-2.0
//
// The host's random object in C++, its error information, and the exception that a failing source raises.

#ifndef ULLAGE_RANDOM_SOURCE_H
#define ULLAGE_RANDOM_SOURCE_H

#include <ullage/engine.h>

#include <cstdint>
#include <exception>
#include <utility>

/**
 * Random numbers of the host, borrowed by DS_Impute for the length of the call.
 *
 * The order of the methods is the binary interface. There is no virtual destructor, which would change it: the host
 * destroys its object by its own type. A negative status is a failure and ends DS_Impute by
 * ullage::RandomSourceError; zero and every positive status are success. No method may call the engine.
 */
struct RandomSource {
    /** {CC23E01A-C919-4CBE-89F5-E70E3BEF1382} */
    static constexpr DS_Guid interface_id{0xCC23E01A, 0xC919, 0x4CBE, {0x89, 0xF5, 0xE7, 0x0E, 0x3B, 0xEF, 0x13, 0x82}};

    /**
     * Give another interface of the object; called only after a failure, for ullage::ISupportErrorInfo.
     *
     * @param iid  identifier of the interface
     * @param out  the interface, with a reference that the caller gives back
     * @return a negative status where the object does not have the interface
     */
    virtual std::int32_t QueryInterface(const DS_Guid *iid, void **out) = 0;

    /** Never called by the engine. */
    virtual std::uint32_t AddRef() = 0;

    /** Never called by the engine on the source itself. */
    virtual std::uint32_t Release() = 0;

    /** Store one number from the uniform distribution on the unit interval; 0 and 1 are harmless. */
    virtual std::int32_t NextUniform(double *out) = 0;

    /** Store one number from the standard normal distribution. */
    virtual std::int32_t NextStandardNormal(double *out) = 0;

    /**
     * Store one multivariate normal vector: mean + R z, with z a vector of n standard normal numbers.
     *
     * @param n     length of the vector, at least 1
     * @param out   n doubles, not cleared; every one must be written
     * @param mean  n doubles, only to be read, valid during the call
     * @param root  the lower triangular R, packed by rows, n(n+1)/2 doubles, only to be read, valid during the call
     */
    virtual std::int32_t NextMultivariateNormal(std::int32_t n, double *out, const double *mean,
                                                const double *root) = 0;

protected:
    ~RandomSource() = default;
};

namespace ullage {

/** An error object of the host. Methods behind these three are the host's own. */
struct IErrorInfo {
    virtual std::int32_t QueryInterface(const DS_Guid *iid, void **out) = 0;
    virtual std::uint32_t AddRef() = 0;
    virtual std::uint32_t Release() = 0;

protected:
    ~IErrorInfo() = default;
};

/** What a source gives from QueryInterface if it can say more than a status about its failure. */
struct ISupportErrorInfo {
    /** {DF0B3D60-548F-101B-8E65-08002B2BD119} */
    static constexpr DS_Guid interface_id{0xDF0B3D60, 0x548F, 0x101B, {0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1, 0x19}};

    virtual std::int32_t QueryInterface(const DS_Guid *iid, void **out) = 0;
    virtual std::uint32_t AddRef() = 0;
    virtual std::uint32_t Release() = 0;

    /** Tell whether failures of an interface come with an error object: exactly 0 means yes. */
    virtual std::int32_t InterfaceSupportsErrorInfo(const DS_Guid *iid) = 0;

    /**
     * Give the error object of the last failure.
     *
     * @param reserved  0
     * @param out       the object, with a reference that passes to the caller; used only if the status is exactly 0
     */
    virtual std::int32_t GetErrorInfo(std::uint32_t reserved, IErrorInfo **out) = 0;

protected:
    ~ISupportErrorInfo() = default;
};

/**
 * A number that the host's source could not give, thrown out of DS_Impute.
 *
 * Holds one reference to the error object; every copy holds one of its own.
 */
class DS_API RandomSourceError : public std::exception {
public:
    /**
     * @param status      the negative status of the source
     * @param error_info  the error object or null; its reference passes to the exception
     */
    RandomSourceError(std::int32_t status, IErrorInfo *error_info) noexcept
        : status_(status), error_info_(error_info) {}

    RandomSourceError(const RandomSourceError &other) noexcept
        : std::exception(other), status_(other.status_), error_info_(other.error_info_) {
        if (error_info_ != nullptr) error_info_->AddRef();
    }

    RandomSourceError &operator=(RandomSourceError other) noexcept {
        std::swap(status_, other.status_);
        std::swap(error_info_, other.error_info_);
        return *this;
    }

    ~RandomSourceError() override {
        if (error_info_ != nullptr) error_info_->Release();
    }

    const char *what() const noexcept override { return "The random source reported a failure."; }

    /** The status that the source returned. */
    std::int32_t status() const noexcept { return status_; }

    /** The error object, borrowed from the exception; null if the source gave none. */
    IErrorInfo *error_info() const noexcept { return error_info_; }

private:
    std::int32_t status_;
    IErrorInfo *error_info_;
};

}  // namespace ullage

#endif

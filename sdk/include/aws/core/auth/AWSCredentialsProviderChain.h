#pragma once

#include <aws/core/auth/AWSCredentialsProvider.h>
#include <aws/core/utils/memory/stl/AWSVector.h>

#include <memory>

namespace Aws {
namespace Auth {

// Asks its providers in order and keeps to the first that answers, until it stops answering.
class AWSCredentialsProviderChain : public AWSCredentialsProvider {
 public:
  AWSCredentials GetAWSCredentials() override;
  const Aws::Vector<std::shared_ptr<AWSCredentialsProvider>>& GetProviders() const { return m_providerChain; }

 protected:
  void AddProvider(const std::shared_ptr<AWSCredentialsProvider>& provider) { m_providerChain.push_back(provider); }

 private:
  Aws::Vector<std::shared_ptr<AWSCredentialsProvider>> m_providerChain;
  std::shared_ptr<AWSCredentialsProvider> m_cachedProvider;
  std::mutex m_cachedProviderMutex;
};

// The SDK's order: environment, profile files, credential_process, web identity, then
// container credentials when AWS_CONTAINER_CREDENTIALS_RELATIVE_URI or _FULL_URI is set, else
// the instance metadata service unless AWS_EC2_METADATA_DISABLED is true.
class DefaultAWSCredentialsProviderChain : public AWSCredentialsProviderChain {
 public:
  DefaultAWSCredentialsProviderChain();
};

}  // namespace Auth
}  // namespace Aws

#pragma once
// `IViewModelBase`: what every view model of the host offers, whatever its data.

#include <string>

#include "data_abstractions2/common.h"
#include "platform/foundation/progress.h"
#include "platform/foundation/signal.h"

namespace data_abstractions2 {

class IResultController;

/// Where a model sends messages meant for the user. Passed as a raw pointer
/// and never owned: the host keeps it alive for the model's life.
class IMessenger {
 public:
  enum Severity : int { Info = 0, Warning = 1, Error = 2 };

  virtual void message(Severity severity, const std::string& text) = 0;

 protected:
  virtual ~IMessenger() = default;
};

/// Named settings of the host's project, read by the models that need them.
class IPropertyStorage : public ref_countable_t {
 public:
  /// The value under `key`, or `fallback` when there is none.
  virtual variant_t getProperty(const std::string& key, const variant_t& fallback) const = 0;
};

/// A problem a model ran into, for the host to show.
class IModelError : public ref_countable_t {
 public:
  virtual std::string getText() const = 0;
};

/// A part of a result that a model may hold data for: a data kind of
/// IResultController::ResultType and, for results with several targets, the
/// target's name (empty for the machine itself).
struct DataSource {
  int kind = 0;
  std::string target;
};

/// The operations come with neutral answers so that a model that is a view
/// model only for the signals (a survey model that announces its end) need
/// not spell out the rest.
class IViewModelBase : public ref_countable_t {
 public:
  /// Outcome of a load or of a long task. The numbers travel between
  /// processes and sessions, so they are fixed; 3 is not used.
  enum LoadType : int {
    LoadOk = 0,        ///< the data is there
    LoadFailed = 1,    ///< the operation ran and gave nothing usable
    LoadCanceled = 2,  ///< cancelled before its end
    LoadNoData = 4,    ///< there was nothing to work on
  };

  /// Kinds of view model, as get_type answers.
  enum ModelType : int {
    ModelUnknown = 0,
    ModelSurvey = 1,
    ModelCorrectness = 2,
    ModelMap = 3,
    ModelRecommendations = 4,
  };

  virtual int get_type() const { return ModelUnknown; }

  /// Opens a result. The model keeps `controller`; `messenger` and
  /// `progress` are borrowed and must outlive the model.
  virtual bool init(sptr_t<IResultController> controller, const std::string& name,
                    sptr_t<IPropertyStorage> properties, IMessenger* messenger, foundation::IProgress* progress) {
    (void)controller;
    (void)name;
    (void)properties;
    (void)messenger;
    (void)progress;
    return false;
  }
  /// The result is closing: save what is kept across sessions and stop work.
  virtual bool closeResult() { return false; }
  /// The result's data changed or was opened again: bring the model up to date.
  virtual bool loadResult() { return false; }
  /// The model's own file in the result; empty when it has none.
  virtual std::string getResultFile() const { return std::string(); }
  virtual bool startCollection() { return false; }
  /// `wait` returns only once the work has ended.
  virtual bool stopCollection(bool wait) {
    (void)wait;
    return false;
  }
  virtual bool isDataCollected() const { return false; }
  virtual bool isDataEmpty() const { return false; }
  virtual bool isDataCollected(const DataSource& source) const {
    (void)source;
    return false;
  }
  virtual bool isDataEmpty(const DataSource& source) const {
    (void)source;
    return false;
  }
  virtual int getErrorCount() const { return 0; }
  /// Null when there is no such error.
  virtual sptr_t<IModelError> getError(int index) const {
    (void)index;
    return nullptr;
  }
  /// Places the model's tasks under `parent` in the scheduler's names.
  virtual void setTasksParentGroupName(const std::string& parent) { (void)parent; }
  virtual std::string getTasksGroupName() const { return std::string(); }

  /// A load ended, with its outcome and a message for the user.
  foundation::signal_t<LoadType, const std::string&> loadFinished;
  /// A collection ended. The flag is the model's own verdict: a collector
  /// says whether its data changed; the recommendations model, whether its
  /// findings match the data.
  foundation::signal_t<bool> collectionFinished;
  /// The result is about to close.
  foundation::signal_t<> closing;
};

}  // namespace data_abstractions2

#include "host/arrow/symbolized_stream.h"

#include "host/arrow/arrow_error.h"
#include "host/arrow/stream_table.h"
#include "host/geodatabase/objects/feature_class.h"

#include <atomic>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <set>
#include <thread>
#include <utility>

namespace embedded_host {
namespace {

constexpr const char* letGo = "the stream was let go of before its end";

nanoarrow::UniqueSchema schemaOf(ArrowArrayStream& stream) {
    nanoarrow::UniqueSchema schema;
    ArrowError error{};
    expect(ArrowArrayStreamGetSchema(&stream, schema.get(), &error), "the stream's schema cannot be read", error);
    return schema;
}

// The run, and the way from its thread to who reads the output.
class SymbolizedStream final : public BatchFlow {
public:
    SymbolizedStream(nanoarrow::UniqueArrayStream input, StreamRun run)
        : input_(std::move(input)), run_(std::move(run)), schema_(schemaOf(*input_.get()), run_.writes) {
        dataset_ = std::make_shared<StreamDataset>(run_.layer, run_.related);
        table_ = std::make_shared<StreamTable>(dataset_, run_.layer, schema_, *this);
        dataset_->setTable(table_);
        monitor_.stop = &stop_;
        featureClass_ = new FeatureClass(table_, run_.subtypeField);
        const std::scoped_lock lock(open().mutex);
        open().streams.insert(this);
    }
    ~SymbolizedStream() override {
        const std::shared_ptr<void> around = waiting();
        {
            const std::scoped_lock lock(open().mutex);
            open().streams.erase(this);
        }
        end();
    }
    SymbolizedStream(const SymbolizedStream&) = delete;
    SymbolizedStream& operator=(const SymbolizedStream&) = delete;

    // All that have not been released.
    struct Open {
        std::mutex mutex;
        std::set<SymbolizedStream*> streams;
    };
    static Open& open() {
        static Open all;
        return all;
    }

    // Stops the run, and waits for its thread.
    void end() noexcept {
        {
            const std::scoped_lock lock(mutex_);
            stop_ = true;
        }
        changed_.notify_all();
        if (thread_.joinable()) thread_.join();
    }

    static void give(std::unique_ptr<SymbolizedStream> self, ArrowArrayStream& output) {
        output.get_schema = [](ArrowArrayStream* stream, ArrowSchema* schema) {
            return ArrowSchemaDeepCopy(&of(stream).schema_.result(), schema);
        };
        output.get_next = [](ArrowArrayStream* stream, ArrowArray* batch) { return of(stream).take(*batch); };
        output.get_last_error = [](ArrowArrayStream* stream) {
            const std::string& text = of(stream).failure_;
            return text.empty() ? nullptr : text.c_str();
        };
        output.release = [](ArrowArrayStream* stream) {
            delete &of(stream);
            stream->release = nullptr;
        };
        output.private_data = self.release();
    }

private:
    static SymbolizedStream& of(ArrowArrayStream* stream) {
        return *static_cast<SymbolizedStream*>(stream->private_data);
    }

    std::shared_ptr<void> waiting() const { return run_.aroundWaits ? run_.aroundWaits() : nullptr; }

    // The thread of who reads.
    int take(ArrowArray& batch) noexcept {
        try {
            batch.release = nullptr;
            const std::shared_ptr<void> around = waiting();
            std::unique_lock lock(mutex_);
            // Not before somebody reads: a stream that is made and let go of costs nothing.
            if (!thread_.joinable() && !stop_) thread_ = std::thread([this] { go(); });
            changed_.wait(lock, [this] { return ready_ || ended_ || !thread_.joinable(); });
            if (ready_) {
                ready_->move(&batch);
                ready_.reset();
                changed_.notify_all();
                return 0;
            }
            return ended_ ? status_ : ECANCELED;
        } catch (const std::bad_alloc&) {
            return ENOMEM;
        } catch (const std::exception&) {
            return EAGAIN;  // no thread could be had
        }
    }

    // The run's thread.
    void go() noexcept {
        int status = 0;
        std::string failure;
        try {
            dataset_->monitor = &monitor_;
            if (run_.related) run_.related->monitor = &monitor_;
            run_.run(featureClass_, monitor_);
            if (!monitor_.failure.empty()) throw HostError(monitor_.failure);
            if (stop_) throw HostError(letGo);
        } catch (const std::bad_alloc&) {
            status = ENOMEM;
        } catch (const CAtlException& error) {
            status = static_cast<HRESULT>(error) == E_OUTOFMEMORY ? ENOMEM : EIO;
        } catch (const std::exception& error) {
            status = EIO;
            keep(failure, error.what());
        }
        if (status == ENOMEM && failure.empty()) keep(failure, "out of memory");
        if (run_.onEnd) run_.onEnd(monitor_, failure);
        // What the run has used ends with it: another thread may release the stream.
        if (run_.related) run_.related->monitor = nullptr;
        run_.run = nullptr;
        run_.onEnd = nullptr;
        featureClass_.Release();
        table_.reset();
        dataset_.reset();
        input_.reset();
        const std::scoped_lock lock(mutex_);
        status_ = status;
        failure_ = std::move(failure);
        ended_ = true;
        changed_.notify_all();
    }

    static void keep(std::string& failure, const char* text) noexcept {
        try {
            failure = text;
        } catch (const std::bad_alloc&) {
            failure.clear();
        }
    }

    std::optional<nanoarrow::UniqueArray> next() override {
        nanoarrow::UniqueArray batch;
        ArrowError error{};
        expect(ArrowArrayStreamGetNext(input_.get(), batch.get(), &error), "the stream cannot be read", error);
        if (!batch->release) return std::nullopt;
        return batch;
    }

    void give(nanoarrow::UniqueArray batch) override {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return !ready_ || stop_; });
        if (stop_) throw HostError(letGo);
        ready_.emplace(std::move(batch));
        changed_.notify_all();
    }

    nanoarrow::UniqueArrayStream input_;
    StreamRun run_;
    StreamSchema schema_;
    std::shared_ptr<StreamDataset> dataset_;
    std::shared_ptr<StreamTable> table_;
    CComPtr<FeatureClass> featureClass_;
    RunMonitor monitor_;

    std::mutex mutex_;
    std::condition_variable changed_;
    std::atomic<bool> stop_ = false;
    bool ended_ = false;
    int status_ = 0;
    std::string failure_;
    std::optional<nanoarrow::UniqueArray> ready_;
    std::thread thread_;
};

}  // namespace

void endAllStreams() noexcept {
    SymbolizedStream::Open& all = SymbolizedStream::open();
    const std::scoped_lock lock(all.mutex);
    for (SymbolizedStream* const stream : all.streams) stream->end();
}

void symbolizeStream(ArrowArrayStream& input, StreamRun run, ArrowArrayStream& output) {
    nanoarrow::UniqueArrayStream taken(&input);
    if (!taken->release) throw HostError("the stream has been used already");
    SymbolizedStream::give(std::make_unique<SymbolizedStream>(std::move(taken), std::move(run)), output);
}

}  // namespace embedded_host

// The list and array classes of the interface: walked by an opaque position, values and pointers alike.
#pragma once

#include "qvlibs/framework/Strings.h"

#include <utility>
#include <vector>

class CObject;

using POSITION = struct QvPosition__*;

// A list of values. A POSITION stays good until its element is removed. ARG_TYPE is how elements are passed in.
template <class TYPE, class ARG_TYPE = const TYPE&>
class CList {
public:
    // The block size of the classic interface is accepted; memory is the list's own business.
    explicit CList(int /*blockSize*/ = 10) {}
    CList(const CList& other) { appendAll(other); }
    CList& operator=(const CList& other) {
        if (this != &other) {
            RemoveAll();
            appendAll(other);
        }
        return *this;
    }
    ~CList() { RemoveAll(); }

    int GetCount() const { return count_; }
    int IsEmpty() const { return count_ == 0 ? 1 : 0; }

    POSITION AddTail(ARG_TYPE value) {
        Node* node = new Node{value, nullptr, tail_};
        (tail_ ? tail_->next : head_) = node;
        tail_ = node;
        ++count_;
        return position(node);
    }
    POSITION AddHead(ARG_TYPE value) {
        Node* node = new Node{value, head_, nullptr};
        (head_ ? head_->previous : tail_) = node;
        head_ = node;
        ++count_;
        return position(node);
    }

    POSITION GetHeadPosition() const { return position(head_); }
    POSITION GetTailPosition() const { return position(tail_); }
    // The element at `at`, which moves on and becomes null behind the last one. `at` must not be null.
    const TYPE& GetNext(POSITION& at) const {
        Node* current = node(at);
        at = position(current->next);
        return current->value;
    }
    TYPE& GetNext(POSITION& at) { return const_cast<TYPE&>(static_cast<const CList*>(this)->GetNext(at)); }
    const TYPE& GetAt(POSITION at) const { return node(at)->value; }
    TYPE& GetAt(POSITION at) { return node(at)->value; }
    const TYPE& GetHead() const { return head_->value; } // the list must not be empty
    const TYPE& GetTail() const { return tail_->value; }

    POSITION FindIndex(int index) const {
        Node* current = index < 0 ? nullptr : head_;
        while (current && index-- > 0) current = current->next;
        return position(current);
    }

    void RemoveAt(POSITION at) {
        Node* gone = node(at);
        (gone->previous ? gone->previous->next : head_) = gone->next;
        (gone->next ? gone->next->previous : tail_) = gone->previous;
        delete gone;
        --count_;
    }
    void RemoveAll() {
        for (Node* gone = head_; gone;) delete std::exchange(gone, gone->next);
        head_ = tail_ = nullptr;
        count_ = 0;
    }

private:
    struct Node {
        TYPE value;
        Node* next;
        Node* previous;
    };
    static POSITION position(Node* node) { return reinterpret_cast<POSITION>(node); }
    static Node* node(POSITION at) { return reinterpret_cast<Node*>(at); }
    void appendAll(const CList& other) {
        for (POSITION at = other.GetHeadPosition(); at;) AddTail(other.GetNext(at));
    }

    Node* head_ = nullptr;
    Node* tail_ = nullptr;
    int count_ = 0;
};

using CStringList = CList<CString, const CString&>;
using CObList = CList<CObject*, CObject*>; // does not own its elements: say at the member who does

// A growing array of values.
template <class TYPE>
class CArray {
public:
    int GetSize() const { return static_cast<int>(values_.size()); }
    int Add(TYPE value) {
        values_.push_back(value);
        return GetSize() - 1;
    }
    TYPE GetAt(int index) const { return values_.at(static_cast<size_t>(index)); }
    TYPE operator[](int index) const { return GetAt(index); }
    void RemoveAll() { values_.clear(); }

private:
    std::vector<TYPE> values_;
};

using CWordArray = CArray<WORD>;
using CDWordArray = CArray<DWORD>;
